#include "fuzz/pagemutator.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

namespace {

constexpr size_t HeaderSize = 100;
constexpr size_t LogHeaderSize = 32;
constexpr size_t FrameHeaderSize = 24;
constexpr size_t MostWindow = 64;
/// Of the header: page size, reserved bytes, pages, freelist, largest root, encoding.
constexpr size_t HeaderFields[] = {16, 17, 20, 28, 32, 36, 52, 56};

/// A run of pages: the database, or the frames of the log.
struct Pages
{
    uint8_t *begin;
    size_t size;
    size_t pageSize;
    size_t lead; ///< bytes in front of each page
    size_t count() const { return size / (pageSize + lead); }
    uint8_t *page(size_t index) const { return begin + index * (pageSize + lead) + lead; }
};

class Mutator
{
public:
    Mutator(const Pages &pages, unsigned seed)
        : m_pages(pages)
        , m_random(seed)
    {
    }

    void run()
    {
        using Change = void (Mutator::*)();
        constexpr Change changes[] = {&Mutator::changeAnywhere,    &Mutator::changePageHeader,
                                      &Mutator::changeCellPointer, &Mutator::changeCell,
                                      &Mutator::changeCell,        &Mutator::changeLink,
                                      &Mutator::copyPage,          &Mutator::changeHeader};
        (this->*changes[below(std::size(changes))])();
    }

private:
    size_t below(size_t end) { return end ? m_random() % end : 0; }
    uint8_t *somePage() { return m_pages.page(below(m_pages.count())); }
    uint8_t *end() const { return m_pages.begin + m_pages.size; }

    /// Lets the fuzzer change some bytes; they stay as many.
    void changeWindow(uint8_t *at, size_t size)
    {
        uint8_t window[MostWindow];
        size = std::min({size, MostWindow, size_t(end() - at)});
        if (size > 0) {
            std::memcpy(window, at, size);
            std::memcpy(at, window, std::min(size, LLVMFuzzerMutate(window, size, size)));
        }
    }

    void changeAnywhere()
    {
        changeWindow(m_pages.begin + below(m_pages.size), 1 + below(MostWindow));
    }

    void changePageHeader()
    {
        uint8_t *page = somePage();
        page -= m_pages.lead && below(2) ? m_pages.lead : 0;
        changeWindow(page + below(12), 1 + below(4));
    }

    uint8_t *someCellPointer(uint8_t *page)
    {
        const size_t start = page == m_pages.begin ? HeaderSize : 0;
        const size_t array = start + (page[start] == 5 ? 12 : 8);
        const size_t count = qFromBigEndian<quint16>(page + start + 3);
        return page + std::min(array + 2 * below(count), m_pages.pageSize - 2);
    }

    void changeCellPointer() { changeWindow(someCellPointer(somePage()), 2); }

    void changeCell()
    {
        uint8_t *page = somePage();
        const size_t cell = qFromBigEndian<quint16>(someCellPointer(page));
        if (cell < m_pages.pageSize) {
            changeWindow(page + cell + below(8), 1 + below(16));
        }
    }

    /// A page number where one may stand: in a cell, as right-most child, in a list of free pages.
    void changeLink()
    {
        uint8_t *page = somePage();
        const size_t cell = qFromBigEndian<quint16>(someCellPointer(page));
        const size_t places[] = {0, 4, 8, 12, cell};
        const size_t place = places[below(std::size(places))];
        if (place + 4 <= m_pages.pageSize) {
            qToBigEndian(quint32(below(m_pages.count() + 2)), page + place);
        }
    }

    void copyPage()
    {
        const uint8_t *from = somePage();
        std::memmove(somePage(), from, m_pages.pageSize);
    }

    void changeHeader()
    {
        const size_t field = HeaderFields[below(std::size(HeaderFields))];
        if (field + 4 < m_pages.size) {
            changeWindow(m_pages.begin + field, 1 + below(4));
        }
    }

    Pages m_pages;
    std::minstd_rand m_random;
};

size_t pageSizeOf(const uint8_t *database)
{
    const size_t size = qFromBigEndian<quint16>(database + 16);
    return size == 1 ? 65536 : size;
}

} // namespace

size_t findLog(const uint8_t *data, size_t size)
{
    constexpr uint8_t magic[] = {0x37, 0x7F, 0x06};
    return size_t(std::search(data, data + size, std::begin(magic), std::end(magic)) - data);
}

size_t mutatePages(uint8_t *data, size_t size, size_t maxSize, unsigned seed, size_t prefix,
                   bool hasLog)
{
    const size_t log = hasLog ? findLog(data, size) : size;
    const bool isInLog = log + LogHeaderSize < size && seed / 4 % 2 == 0;
    if (seed % 4 == 0 || log < prefix + HeaderSize) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    Pages pages{data + prefix, log - prefix, pageSizeOf(data + prefix), 0};
    if (isInLog) {
        pages = {data + log + LogHeaderSize, size - log - LogHeaderSize, pages.pageSize,
                 FrameHeaderSize};
    }
    if (pages.pageSize < MostWindow * 2 || pages.count() == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    Mutator(pages, seed).run();
    return size;
}

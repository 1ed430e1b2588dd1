// Takes the text out of the HTML of a note. The first byte says at how many characters the HTML is
// cut into pieces.

#include "fuzz/fuzzsupport.h"
#include "recoverers/calendar_notes_safari/notehtml.h"

#include <QString>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0) {
        return 0;
    }
    const int atOnce = data[0] == 0 ? MostHtmlAtOnce : data[0] * data[0];
    const QString html = QString::fromUtf8(reinterpret_cast<const char *>(data) + 1, int(size) - 1);
    const QString text = plainNoteText(html, atOnce);
    // An element is a line or two, a character at most one.
    require(text.size() <= 2 * html.size() + 2, "the text is no longer than its HTML");
    return 0;
}

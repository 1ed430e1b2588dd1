#pragma once

#include <QString>

#include <memory>

class QDateTime;

/// Values of the outermost dictionary of a property list, in XML or binary.
///
/// The parser is trusted with sound lists only: it calls itself for every level, copies what a
/// binary list names several times as often, and takes time in proportion to the square of some
/// counts. read() refuses what would make it run out of stack, memory or patience.
class PropertyList
{
public:
    /// Reads the file. False, and all values empty, when it is no property list with a dictionary.
    bool read(const QString &path);

    /// The text of `key`, cut to a length that fits on a line; empty when there is none.
    QString text(const char *key) const;
    /// True when `key` is there and says so.
    bool isTrue(const char *key) const;
    /// The date of `key`; invalid when there is none.
    QDateTime date(const char *key) const;

private:
    struct Free
    {
        void operator()(void *list) const;
    };
    void *value(const char *key, int type) const;

    std::unique_ptr<void, Free> m_list;
};

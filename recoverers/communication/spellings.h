#pragma once

#include <QStringList>

// A search index holds several spellings of one value in one text, separated by spaces, so that
// whatever a person types is found. These functions give each value once, in the spelling that a
// person would dial or write, in the order of their first spelling. A text that cannot be taken
// apart sensibly is given back whole.

/// "(408) 555-5270 +14085555270 4085555270" gives "+14085555270". Groups of digits that also stand
/// inside a longer number are taken for a part of it.
QStringList telephoneNumbers(const QString &spellings);

/// "anna@example.com anna example com" gives "anna@example.com".
QStringList mailAddresses(const QString &spellings);

/// "http://example.com/a example com a" gives "http://example.com/a".
QStringList webAddresses(const QString &spellings);

/// The text without white space around it; no value when nothing is left.
QStringList wholeText(const QString &text);

#pragma once

#include <QString>

/// Makes text safe to show on a terminal: control characters, bidirectional and other invisible
/// formatting characters but joiners, line separators and broken surrogates become visible, as in
/// "\u{1B}".
QString printable(const QString &text);

/// Whether a character (a Unicode code point) is one that printable() replaces.
bool isUnprintable(uint character);

/// Number of terminal columns that printable text takes: 0 for a combining mark, 2 for a wide
/// character, else 1.
int displayWidth(const QString &text);

/// `text` with blanks appended until it fills `width` columns; longer text stays as it is.
QString padded(const QString &text, int width);

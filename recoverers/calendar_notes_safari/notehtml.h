#pragma once

#include <QString>

/// Returns the text of a note's HTML, its lines separated by line feeds. Works without any
/// application object, and reads nothing but `html`: style sheets, scripts and pictures that it
/// names are left alone. Takes time in proportion to the HTML, whatever that holds.
QString plainNoteText(const QString &html);

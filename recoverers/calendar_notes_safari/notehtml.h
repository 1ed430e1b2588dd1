#pragma once

#include <QString>

/// Much more than any note has.
constexpr int MostHtmlAtOnce = 65536;

/// Returns the text of a note's HTML, its lines separated by line feeds. Works without any
/// application object, and reads nothing but `html`: style sheets, scripts and pictures that it
/// names are left alone. Takes time in proportion to the HTML, whatever that holds, and makes a
/// document of about `atOnce` characters of it at a time, which takes hundreds of times that.
QString plainNoteText(const QString &html, int atOnce = MostHtmlAtOnce);

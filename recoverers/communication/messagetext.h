#pragma once

#include <QString>

/// Cleans the text of a carved message whose guid is not a standard one: its row is then probably
/// damaged, and the text may run on into the archive of the attributed text behind it or into
/// pieces of guids. Returns an empty text when nothing that a person wrote is left.
QString cleanedMessageText(const QString &text);

/// A row of which the beginning is another row's is read from a wrong place: its guid begins with
/// bytes of a header, and the real guid runs on into the text. Puts `guid` and `text` right and
/// returns true when that is so.
bool takeGuidOutOfText(QString *guid, QString *text);

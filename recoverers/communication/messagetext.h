#pragma once

#include <QString>

/// Cleans the text of a carved message whose guid is not a standard one: its row is then probably
/// damaged, and the text may run on into the archive of the attributed text behind it or into
/// pieces of guids. Returns an empty text when nothing that a person wrote is left.
QString cleanedMessageText(const QString &text);

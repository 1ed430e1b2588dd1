#pragma once

#include <QByteArray>
#include <QString>

class SampleRandom;

/// A sentence in English letters: mostly short, seldom as long as a letter.
QString plainSentence(SampleRandom *random);

/// What people write: sentences, also in other scripts and with emoji, single words, addresses of
/// pages, and now and then a text of several thousand bytes.
QString messageText(SampleRandom *random);

/// The text once more inside an archive of objects, which adds about 150 bytes.
QByteArray attributedBody(const QString &text);

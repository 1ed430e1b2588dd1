#pragma once

#include "samples/samplerandom.h"

#include <QByteArray>

/// Makes up web pages as people keep and visit them. Equal seeds give equal pages.
class SafariGenerator
{
public:
    explicit SafariGenerator(quint32 seed)
        : m_random(seed)
    {
    }

    /// An address that was not made before; most are short, some long, few very long.
    QString url();
    /// Now and then in another script; seldom empty.
    QString title();
    /// The main word of an address's host; null for addresses without one.
    static QString domainOf(const QString &url);
    /// Bytes as they stand in the data of a synchronization or an icon.
    QByteArray blob(int from, int to);
    SampleRandom &random() { return m_random; }

private:
    QString path();

    SampleRandom m_random;
    int m_count = 0;
};

#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

/// How many recovered records fall into each month, and the picture of it.
class Timeline
{
public:
    /// Times after `lastTime`, as ISO 8601, are counted apart: the device cannot have known them.
    explicit Timeline(const QString &lastTime);

    /// Counts a record; an empty `time` stands for none.
    void add(const QString &time);
    /// The picture with its caption, and what is not in it, as HTML.
    QByteArray figure() const;

private:
    int firstShown() const;
    int lastShown() const;
    QByteArray picture() const;
    QByteArray bars() const;
    QByteArray countLines() const;
    QByteArray yearLabels() const;
    QByteArray beside() const;

    QString m_lastTime;
    QMap<int, qint64> m_counts; ///< by the number of the month, since the beginning of year 0
    qint64 m_tooEarly = 0;
    qint64 m_tooLate = 0;
    qint64 m_without = 0;
};

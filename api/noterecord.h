#pragma once

#include <QString>

/// One recovered note. A plain value; fields that could not be read keep their defaults.
struct NoteRecord
{
    /// Date of the last change in whole seconds as stored, which is since 2001-01-01 00:00:00 UTC;
    /// 0 for a note that is known from its body alone.
    qint32 date = 0;
    /// The note's title.
    QString title;
    /// The note's text, plain.
    QString content;
};

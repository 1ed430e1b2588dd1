#pragma once

#include <QByteArray>

struct Report;

/// Makes a report of records out of arbitrary bytes. With `isHarmless` every character of a text
/// that means something in HTML is another one; all else is the same.
Report inventReport(const QByteArray &bytes, bool isHarmless);

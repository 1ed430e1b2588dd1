#pragma once

#include "engine/recordmatcher.h"

#include <QStringList>

/// A matcher for a table (id integer primary key, name text, amount integer, place text) that
/// writes down what the search asks of it. Its anchor is "amount", a four-byte integer.
class ProbeMatcher : public RecordMatcher
{
public:
    struct Match
    {
        QString name;
        qint64 amount;
        QString place;
        bool isDeleted;
        int limit;
    };

    ProbeMatcher() { signatures = {QByteArrayMatcher("\x04", 1)}; }

    bool bindColumns(const TableSchema &table) override { return table.columns.size() == 4; }
    bool matchHeader(const TableSchema &, const QByteArray &region, int anchorPos) override
    {
        decodeHeaderAt(region, anchorPos, 1, 2, prefix, 3, -1);
        return serialTypes.size() == 3 && serialTypes[0] >= 13 && serialTypes[0] % 2 == 1
               && serialTypes[0] < 100 && (serialTypes[2] == 0 || serialTypes[2] % 2 == 1);
    }
    void extractRecord(const TableSchema &, const QByteArray &payload, bool isDeleted,
                       int limit) override
    {
        ++(isDeleted ? deletedMatches : liveMatches);
        RecordFields fields(payload, bodyStart, serialTypes, limit, 1);
        Match match{{}, 0, {}, isDeleted, limit};
        while (fields.next()) {
            switch (fields.index()) {
            case 0:
                match.name = fields.text();
                break;
            case 1:
                match.amount = fields.integer();
                break;
            default:
                match.place = fields.text();
            }
        }
        matches.append(match);
    }
    void trackRowid(const TableSchema &, bool restart, bool isDeleted) override
    {
        calls.append(QStringLiteral("track %1 %2").arg(restart).arg(isDeleted));
    }
    QByteArray readPayload(const QByteArray &region, QIODevice &, const DatabaseHeader &,
                           qint64 recordStart, int headerLength) override
    {
        payloads.append(QStringLiteral("%1 +%2").arg(recordStart).arg(headerLength));
        return region;
    }
    bool wantsLiveCells() override { return inspectsCells; }
    void inspectLiveCell(const QByteArray &, int cellOffset) override
    {
        calls.append(QStringLiteral("inspect %1").arg(cellOffset));
    }

    QStringList names(bool isDeleted) const
    {
        QStringList found;
        for (const Match &match : matches) {
            if (match.isDeleted == isDeleted) {
                found.append(match.name);
            }
        }
        return found;
    }

    using RecordMatcher::decodeHeaderAt;

    bool inspectsCells = false;
    QVector<qint64> prefix;
    QVector<Match> matches;
    QStringList calls;
    QStringList payloads;
};

#pragma once

#include <QByteArray>
#include <QSet>
#include <QVector>

#include <functional>

class DatabaseReader;
class QIODevice;
struct DatabaseHeader;
struct TableSchema;

/// Size of the page number that links a payload to its next overflow page.
constexpr int OverflowPointerSize = 4;

/// Returns how many bytes of a cell on a table leaf page belong to a payload of `payloadSize`
/// bytes: all of them, or the local part and the 4-byte number of the first overflow page.
/// A payload of exactly usable size - 35 bytes counts as spilling, which differs from the published
/// format at that one size: its local part is then the whole payload.
qint32 localPayloadSize(qint64 payloadSize, const DatabaseHeader &header);

/// The payload of a candidate, as its decoded header describes it: the stored payload size stands
/// in front of the header and is often overwritten.
///
///   header size | NULL of the rowid alias | serial types | body
///   ^ start                                              ^ bodyStart
struct CandidatePayload
{
    CandidatePayload(qint64 bodyStart, int typesLength, const QVector<qint64> &serialTypes);

    qint64 start = 0; ///< place in the region
    qint64 size = 0;  ///< 0 when the types give no sensible size, or one of more than 4 MiB
};

/// True when the payload has more bytes than its cell holds, so that it goes on elsewhere.
bool spills(const CandidatePayload &payload, const DatabaseHeader &header);

/// What to make of a payload whose overflow chain is broken.
struct BrokenChain
{
    enum Use {
        LocalPartAlone,  ///< for fields that are worth nothing unless they are whole
        WhatWasGathered, ///< for prose, of which half is better than nothing
    };
    Use use = LocalPartAlone;
    /// Tells pages that now belong to a live row, where a chain is broken as well; may be empty.
    std::function<bool(quint32 pageNo)> isInUse;
};

/// Returns the region up to the end of the local part of a payload that spills, and behind it the
/// bytes of its overflow pages. A chain that leaves the file or does not end where the payload ends
/// has been used again for something else: then there is what `broken` says. Gathering ends in
/// front of a page that was met before or is in use; a page whose link shows it to be the last of
/// another chain, or not the last of this one, is not gathered either.
QByteArray rebuildPayload(const QByteArray &region, QIODevice &device, const DatabaseHeader &header,
                          const CandidatePayload &payload,
                          const BrokenChain &broken = BrokenChain());

/// Returns the overflow pages of the table's live rows. Reads each page's link once; a row that
/// cannot be read ends the walk, and what was found until then is returned.
QSet<quint32> overflowPagesInUse(DatabaseReader &reader, QIODevice &device,
                                 const TableSchema &table);

#pragma once

#include "api/noterecord.h"
#include "recoverers/calendar_notes_safari/noterows.h"

#include <functional>

/// Joins notes with their bodies: a note takes the first body with its title, which then belongs to
/// no other note; bodies that no note takes become notes without a date. Rows and bodies that equal
/// those of `live` are copies, left behind where SQLite moved a row: they are dropped, except that
/// a note whose own body is nowhere takes a copy that goes on as it does. Pieces of rows that are
/// known whole are dropped as well.
/// Asks `mayGoOn` between bodies and between notes. Told to stop, it converts no more bodies and
/// pairs those that it has, or pairs no more notes and returns those that it has.
QVector<NoteRecord> assembleNotes(const LiveNotes &live, const CarvedNotes &carved,
                                  const std::function<bool()> &mayGoOn);

/// As assembleNotes(), where a note's text is its summary.
QVector<NoteRecord> assembleIos9Notes(const LiveNotes &live, const CarvedNotes &carved);

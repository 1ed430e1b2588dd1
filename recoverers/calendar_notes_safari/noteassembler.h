#pragma once

#include "api/noterecord.h"
#include "recoverers/calendar_notes_safari/noterows.h"

#include <functional>

/// Joins notes with their bodies: a note takes the first body with its title, which then belongs to
/// no other note; bodies that no note takes become notes without a date. Rows that equal those of
/// `live` are copies, left behind where SQLite moved a row; they are dropped, and so are incomplete
/// rows of which the whole was found or still exists.
/// Asks `mayGoOn` before every body and every note, and returns what it has when that says no.
QVector<NoteRecord> assembleNotes(const LiveNotes &live, const CarvedNotes &carved,
                                  const std::function<bool()> &mayGoOn);

/// As assembleNotes(), where a note's text is its summary.
QVector<NoteRecord> assembleIos9Notes(const LiveNotes &live, const CarvedNotes &carved,
                                      const std::function<bool()> &mayGoOn);

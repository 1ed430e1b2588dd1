#pragma once

#include <QStringList>
#include <QVector>

struct SampleOptions;

/// The generations of the notes databases: notes.sqlite as of iOS 6 to 11, and NoteStore.sqlite,
/// which took its place, as of iOS 9 to 17.
enum class NoteLayout {
    Ios6,
    Ios7,
    Ios9,
    Ios10,
    Ios11,
    Store9,
    Store10,
    Store11,
    Store15,
    Store17
};

QVector<NoteLayout> allNoteLayouts();
QString layoutName(NoteLayout layout);
/// True for NoteStore.sqlite.
bool isNoteStore(NoteLayout layout);
/// True when the header test takes the rows of notes. That of the generations before iOS 15 wants
/// no date of creation in a column in which those keep it.
bool isTaken(NoteLayout layout);
/// How devices make their file: its pages and its auto-vacuum mode.
SampleOptions deviceOptions(NoteLayout layout);
/// The statements that make all tables and indexes.
QString noteTables(NoteLayout layout);
/// The definitions of the columns of the table that holds the notes, in their order.
QStringList noteColumns(NoteLayout layout);
/// The column in which notes keep the date of their creation.
QString creationDateColumn(NoteLayout layout);

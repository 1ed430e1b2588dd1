#pragma once

#include <QtGlobal>

// Serial type codes of the record format of SQLite database files.

/// What a serial type stands for.
enum SerialClass : int {
    InvalidClass = -1, ///< 10 and 11, which no record may hold
    NullClass = 0,
    IntegerClass = 1,
    RealClass = 2,
    ZeroClass = 3, ///< the constant 0, without bytes
    OneClass = 4,  ///< the constant 1, without bytes
    TextClass = 5,
    BlobClass = 6,
};

/// Texts and blobs of this many bytes or more are refused: absurd headers end early.
constexpr qint64 MaxContentSize = 1024 * 1024;

/// Returns the number of bytes that a value of serial type `st` takes in the record body; -1 for
/// the invalid codes 10 and 11.
constexpr qint64 serialTypeSize(qint64 st)
{
    constexpr qint64 fixedSizes[] = {0, 1, 2, 3, 4, 6, 8, 8, 0, 0, -1, -1};
    return st < 12 ? (st < 0 ? -1 : fixedSizes[st]) : (st - 12) / 2;
}

/// Returns the class of serial type `st`; InvalidClass for the codes 10 and 11.
constexpr SerialClass serialTypeClass(qint64 st)
{
    constexpr SerialClass fixedClasses[] = {NullClass,    IntegerClass, IntegerClass, IntegerClass,
                                            IntegerClass, IntegerClass, IntegerClass, RealClass,
                                            ZeroClass,    OneClass,     InvalidClass, InvalidClass};
    if (st < 12) {
        return st < 0 ? InvalidClass : fixedClasses[st];
    }
    return st % 2 == 0 ? BlobClass : TextClass;
}

/// True for NULL.
constexpr bool isNullSerialType(qint64 st)
{
    return st == 0;
}

/// True for a stored integer of any width and for the constants 0 and 1.
constexpr bool isIntegerSerialType(qint64 st, bool allowNull)
{
    return (st >= 1 && st <= 6) || st == 8 || st == 9 || (allowNull && st == 0);
}

/// True for a text shorter than MaxContentSize.
constexpr bool isTextSerialType(qint64 st, bool allowNull)
{
    return (serialTypeClass(st) == TextClass && serialTypeSize(st) < MaxContentSize)
           || (allowNull && st == 0);
}

/// True for a blob shorter than MaxContentSize.
constexpr bool isBlobSerialType(qint64 st, bool allowNull)
{
    return (serialTypeClass(st) == BlobClass && serialTypeSize(st) < MaxContentSize)
           || (allowNull && st == 0);
}

/// True for a stored double and for the constant 0, as which a double of value 0 is stored.
constexpr bool isRealSerialType(qint64 st, bool allowNull)
{
    return st == 7 || st == 8 || (allowNull && st == 0);
}

/// True for an integer of one byte and for the constants 0 and 1.
constexpr bool isBooleanSerialType(qint64 st)
{
    return st == 1 || st == 8 || st == 9;
}

/// True for a text of exactly 36 bytes, the length of a UUID written out.
constexpr bool isUuidSerialType(qint64 st, bool allowNull)
{
    return st == 85 || (allowNull && st == 0);
}

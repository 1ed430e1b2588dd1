#pragma once

#include "recoverers/communication/addressbook.h"

/// Joins the carved rows of an address book with each other and with what still exists: values to
/// the person that they name, parts to their value, labels and keys to their texts.
///
/// - Copies of live rows, which SQLite leaves behind where it moves them, are dropped; a former
///   version that differs from the live person is kept, without values.
/// - A value of a person who still exists comes under that person's names.
/// - A value whose person is gone comes under a person without names, if there can have been one.
/// - Nobody and nothing is reported twice, and nothing empty.
///
/// Returns the persons in the order found, then live persons with recovered values, then persons
/// without names, each in the order in which their first value was found.
QVector<PersonRecord> assembleContacts(const LiveAddressBook &live,
                                       const CarvedAddressBook &carved);

#pragma once

#include <QString>

/// Returns the form of a telephone number or e-mail address in which two spellings of one address
/// are equal. An address with an at sign is split there: the case of neither half matters. Of a
/// number the characters that only group digits are dropped and an international prefix "00"
/// becomes "+". National and international spellings stay apart, because only the country could
/// tell that they are one, and messages of two people must not be mixed. Anything else, such as the
/// name of a business, is compared without case. Empty only for an empty or blank address.
QString normalizedAddress(const QString &address);

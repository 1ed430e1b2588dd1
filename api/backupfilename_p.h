#pragma once

class QString;

/// Returns the name under which a backup stores the file `relativePath` of `domain`: the SHA-1, in
/// 40 lower-case hexadecimal digits, of the UTF-8 bytes of "domain-relativePath" in Unicode
/// normalisation form D.
QString backupFilename(const QString &domain, const QString &relativePath);

#pragma once

#include <cstddef>
#include <cstdint>

/// Changes an input of which a database stands behind the first `prefix` bytes, and with `hasLog`
/// its log behind that. Most changes move nothing: a byte more or less would shift all pages behind
/// it. Returns the new size.
size_t mutatePages(uint8_t *data, size_t size, size_t maxSize, unsigned seed, size_t prefix,
                   bool hasLog = false);

/// Returns where a log begins in the bytes; `size` when none does.
size_t findLog(const uint8_t *data, size_t size);

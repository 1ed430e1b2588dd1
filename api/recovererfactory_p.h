#pragma once

#include "engine/sqlitedbfile.h"

#include <memory>

/// Makes the recoverer of a kind of database (a ScanType); null when the kind is unknown.
std::unique_ptr<SqliteDbFile> makeRecoverer(int type);

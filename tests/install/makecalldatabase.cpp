// Makes a call history with one deleted call.

#include <sqlite3.h>

int main(int argc, char *argv[])
{
    sqlite3 *db = nullptr;
    if (argc != 2 || sqlite3_open(argv[1], &db) != SQLITE_OK) {
        return 1;
    }
    const int result = sqlite3_exec(
        db,
        "PRAGMA secure_delete = OFF;"
        "CREATE TABLE call (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, address TEXT, date INTEGER, "
        "duration INTEGER, flags INTEGER, id INTEGER, name TEXT, country_code TEXT, "
        "network_code TEXT, read INTEGER, assisted INTEGER, face_time_data BLOB, "
        "originalAddress TEXT, answered INTEGER);"
        "INSERT INTO call (address, date, duration, flags, country_code, read) VALUES "
        "('live', 1342360000, 1, 4, '310', 1), ('+15551234567', 1342361000, 65, 5, '310', 1);"
        "DELETE FROM call WHERE address <> 'live'",
        nullptr, nullptr, nullptr);
    return sqlite3_close(db) == SQLITE_OK && result == SQLITE_OK ? 0 : 1;
}

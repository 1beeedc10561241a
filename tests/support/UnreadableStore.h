#pragma once

#include <sqlite3.h>

namespace support {

/// Connections that are opened while there is one read and write nothing as long as `fails`: for a moment, which takes
/// none of them off its file.
class UnreadableStore
{
public:
    UnreadableStore() { sqlite3_auto_extension(reinterpret_cast<void (*)()>(&watch)); }
    ~UnreadableStore()
    {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&watch));
        fails = false;
    }
    static inline bool fails = false;

private:
    static int watch(sqlite3* connection, const char**, const void*)
    {
        sqlite3_progress_handler(
            connection, 1, [](void*) { return int(fails); }, nullptr);
        return SQLITE_OK;
    }
};

} // namespace support

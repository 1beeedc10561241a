#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>
#include <tl/expected.hpp>

struct sqlite3;
struct sqlite3_file;

namespace localservice {

/// Whether the files of an open database, in WAL mode, are still those its name refers to. SQLite itself keeps using a
/// deleted file, and all seems well until it is closed and everything is lost.
///
/// Beside the data file are its journal (-wal), which has the latest changes until a checkpoint moves them into the
/// data file, and the journal's index (-shm), shared by all that have the database open. Each check costs three calls
/// of stat and one short read. For the thread that uses the database.
///
/// Formats: sqlite.org/walformat.html and sqlite.org/fileformat2.html.
class FileWatch final
{
public:
    /// What is wrong; the first that applies.
    enum class Finding
    {
        Nothing,
        FileGone,        ///< the data file was moved or removed, or another one has its name
        FileOverwritten, ///< another process wrote into the data file
        JournalGone,
        JournalReplaced, ///< another file has the journal's name
        JournalCut,      ///< another process wrote into the journal, or shortened it
        IndexGone,       ///< removed, or another one has its name
    };

    explicit FileWatch(std::string file);

    /// Records the files as they are, just after the database was opened and used. False if they are missing. Of a
    /// database that cannot be switched to WAL mode, as on some file systems, only the data file's name is watched.
    bool begin(sqlite3* database);
    /// When others write at the same time, `JournalCut` may be a false alarm; within a write transaction it is not.
    Finding look(sqlite3* database);

    /// Whether the journal that the database has open is still complete, whatever its name is now.
    static bool hasWholeJournal(sqlite3* database);
    /// Whether the data file still has the name it was opened by.
    bool isFileThere() const;

private:
    struct Identity
    {
        dev_t device = 0;
        ino_t number = 0;
        bool operator==(const Identity&) const = default;
    };
    struct State
    {
        Identity identity;
        off_t size = 0;
        std::time_t seconds = 0;
        long nanoseconds = 0;

        /// Of its contents.
        bool isUnchangedSince(const State& other) const;
    };
    /// How far the journal has got.
    struct Mark
    {
        std::array<std::uint8_t, 8> salt{}; ///< changes each time the journal restarts
        std::uint32_t frames = 0;           ///< that count
        std::uint32_t pageSize = 0;
        std::uint32_t brought = 0; ///< of the frames, into the data file
        std::uint32_t tried = 0;   ///< more than that while a checkpoint is under way

        off_t endOf(std::uint32_t frame) const;
    };

    /// The error is one of errno.h.
    static tl::expected<State, int> stateOf(const std::string& file);
    static std::optional<Mark> markOf(sqlite3* database);
    bool isOurJournal(sqlite3* database, const Mark& mark) const;

    const std::string m_file;
    std::string m_journalFile; ///< beside the target of a symbolic link; empty when there is none
    std::string m_indexFile;
    State m_data;
    Identity m_journal;
    Identity m_index;
    Mark m_mark;
};

} // namespace localservice

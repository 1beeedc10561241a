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

/// Whether the files of an open database, in WAL mode, are still those that its name leads to. SQLite itself goes on
/// with a file that was removed, and all seems well until it is closed and nothing is left.
///
/// Beside the data file stand its journal (-wal), which has the latest changes until a checkpoint brings them into the
/// data file, and the index of the journal (-shm), which all who have the database open share. Each look costs three
/// calls of stat and one short read. For the thread that uses the database.
///
/// Formats: sqlite.org/walformat.html and sqlite.org/fileformat2.html.
class FileWatch final
{
public:
    /// What is wrong; the first of it that is.
    enum class Finding
    {
        Nothing,
        FileGone,        ///< the data file was moved or removed, or another one has its name
        FileOverwritten, ///< somebody else wrote into the data file
        JournalGone,
        JournalReplaced, ///< another file has the journal's name
        JournalCut,      ///< somebody else wrote into the journal, or made it shorter
        IndexGone,       ///< removed, or another one has its name
    };

    explicit FileWatch(std::string file);

    /// Takes the files as they are, just after the database was opened and used. False if they are not there. Of a
    /// database that could not be brought into WAL mode, on some file systems, the data file's name alone is watched.
    bool begin(sqlite3* database);
    /// Beside others that write at the same time, `JournalCut` may be an error; within a transaction that writes it is
    /// none.
    Finding look(sqlite3* database);

    /// Whether the journal that the database has open still has all that was written to it, whatever its name is now.
    static bool hasWholeJournal(sqlite3* database);
    /// Whether the data file has the name that it was opened by.
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
    /// Where the journal stands.
    struct Mark
    {
        std::array<std::uint8_t, 8> salt{}; ///< another one each time that the journal begins again
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
    std::string m_journalFile; ///< beside the file that a symbolic link leads to; empty when there is none
    std::string m_indexFile;
    State m_data;
    Identity m_journal;
    Identity m_index;
    Mark m_mark;
};

} // namespace localservice

#include "FileWatch.h"

#include <cerrno>
#include <sqlite3.h>
#include <sys/stat.h>

namespace localservice {

namespace {

constexpr off_t JournalHeader = 32;
constexpr off_t FrameHeader = 24;
constexpr off_t SaltInHeader = 16;
constexpr off_t SaltInFrame = 8;

sqlite3_file* fileOf(sqlite3* database, int which)
{
    sqlite3_file* file = nullptr;
    const bool is = sqlite3_file_control(database, "main", which, &file) == SQLITE_OK && file && file->pMethods;
    return is ? file : nullptr;
}

/// A folder that has become inaccessible, for instance, does not mean the file is gone.
template <typename State>
bool cannotLook(const tl::expected<State, int>& state)
{
    return !state && state.error() != ENOENT && state.error() != ENOTDIR;
}

} // namespace

bool FileWatch::State::isUnchangedSince(const State& other) const
{
    return size == other.size && seconds == other.seconds && nanoseconds == other.nanoseconds;
}

off_t FileWatch::Mark::endOf(std::uint32_t frame) const
{
    return JournalHeader + off_t{frame} * (FrameHeader + off_t{pageSize});
}

FileWatch::FileWatch(std::string file) : m_file(std::move(file)) {}

tl::expected<FileWatch::State, int> FileWatch::stateOf(const std::string& file)
{
    struct stat found
    {
    };
    if (::stat(file.c_str(), &found) != 0)
        return tl::unexpected(errno);
    return State{{found.st_dev, found.st_ino}, found.st_size, found.st_mtim.tv_sec, found.st_mtim.tv_nsec};
}

std::optional<FileWatch::Mark> FileWatch::markOf(sqlite3* database)
{
    // SQLite has the index mapped; a descriptor of our own would drop its locks when closed.
    auto* file = fileOf(database, SQLITE_FCNTL_FILE_POINTER);
    volatile void* index = nullptr;
    constexpr int regionSize = 32768;
    if (!file || file->pMethods->iVersion < 2 || file->pMethods->xShmMap(file, 0, regionSize, 0, &index) != SQLITE_OK ||
        !index)
        return {};
    const auto* bytes = static_cast<const volatile std::uint8_t*>(index);
    const auto number = [&](int offset) { return *reinterpret_cast<const volatile std::uint32_t*>(bytes + offset); };
    Mark mark;
    for (std::size_t i = 0; i < mark.salt.size(); ++i)
        mark.salt[i] = bytes[32 + i];
    mark.frames = number(16);
    const auto pageSize = *reinterpret_cast<const volatile std::uint16_t*>(bytes + 14);
    mark.pageSize = pageSize == 1 ? 65536U : pageSize;
    mark.brought = number(96);
    mark.tried = number(128);
    return mark;
}

bool FileWatch::begin(sqlite3* database)
{
    const auto data = stateOf(m_file);
    const auto mark = markOf(database);
    if (!data)
        return false;
    m_data = *data;
    m_journalFile.clear();
    if (!mark)
        return true;
    const char* name = sqlite3_db_filename(database, "main");
    const auto journal = stateOf(sqlite3_filename_wal(name));
    const auto index = stateOf(std::string(name) + "-shm");
    if (!journal || !index)
        return false;
    m_journalFile = sqlite3_filename_wal(name);
    m_indexFile = std::string(name) + "-shm";
    m_journal = journal->identity;
    m_index = index->identity;
    m_mark = *mark;
    return true;
}

FileWatch::Finding FileWatch::look(sqlite3* database)
{
    const auto data = stateOf(m_file);
    if (cannotLook(data))
        return Finding::Nothing;
    if (!data || data->identity != m_data.identity)
        return Finding::FileGone;
    if (m_journalFile.empty())
        return Finding::Nothing;
    const auto journal = stateOf(m_journalFile);
    const auto index = stateOf(m_indexFile);
    const auto mark = markOf(database);
    if (cannotLook(journal) || cannotLook(index))
        return Finding::Nothing;
    if (!mark)
        return Finding::IndexGone;
    // Only checkpoints write into the data file, ours and those of other processes, and each leaves its trace in the
    // index. While one is under way nothing can be concluded.
    if (mark->tried == mark->brought) {
        if (mark->brought != m_mark.brought || mark->salt != m_mark.salt) {
            if (const auto now = stateOf(m_file); now && now->identity == m_data.identity)
                m_data = *now;
        } else if (!data->isUnchangedSince(m_data)) {
            return Finding::FileOverwritten;
        }
    }
    if (!journal)
        return Finding::JournalGone;
    if (journal->identity != m_journal)
        return Finding::JournalReplaced;
    if (mark->frames > 0 && (journal->size < mark->endOf(mark->frames) || !isOurJournal(database, *mark)))
        return Finding::JournalCut;
    if (!index || index->identity != m_index)
        return Finding::IndexGone;
    if (mark->tried == mark->brought)
        m_mark = *mark;
    return Finding::Nothing;
}

bool FileWatch::isOurJournal(sqlite3* database, const Mark& mark) const
{
    // What was in it at the last check, or its header if it has restarted since. A journal that was truncated, and then
    // grew when something was written at its old end, has a hole there.
    const bool goesOn = mark.salt == m_mark.salt && m_mark.frames > 0 && m_mark.frames <= mark.frames;
    const off_t place = goesOn ? mark.endOf(m_mark.frames - 1) + SaltInFrame : SaltInHeader;
    std::array<std::uint8_t, 8> found{};
    auto* file = fileOf(database, SQLITE_FCNTL_JOURNAL_POINTER);
    return file && file->pMethods->xRead(file, found.data(), found.size(), place) == SQLITE_OK && found == mark.salt;
}

bool FileWatch::hasWholeJournal(sqlite3* database)
{
    auto* file = fileOf(database, SQLITE_FCNTL_JOURNAL_POINTER);
    const auto mark = markOf(database);
    sqlite3_int64 size = 0;
    return file && mark && file->pMethods->xFileSize(file, &size) == SQLITE_OK &&
           (mark->frames == 0 || size >= mark->endOf(mark->frames));
}

bool FileWatch::isFileThere() const
{
    const auto data = stateOf(m_file);
    return data && data->identity == m_data.identity;
}

} // namespace localservice

#pragma once

#include "Database.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace localservice {

/// A copy of the data file.
struct Backup
{
    std::string name; ///< of the file, within the folder of the copies
    Seconds made = 0;
    std::uintmax_t size = 0; ///< bytes
    bool replaced = false;   ///< kept when an older copy was restored in its place
};

/// A file's size for people: "48 kB", "3.2 MB".
std::string sizeText(std::uintmax_t bytes);

/// The copies of a data file, in the folder beside it that has its name and ends in "-backups". Each is a data file of
/// its own, readable by the owner only. Safe beside a service that uses the data file. Thread-safe, but not against
/// another process that writes copies at the same moment.
class Backups final
{
public:
    /// Of the daily copies; and as many of those that were kept when others were restored.
    static constexpr std::size_t MostKept = 14;

    explicit Backups(const std::string& dataFile);

    const std::string& folder() const { return m_folder; }
    /// The latest first.
    std::vector<Backup> all() const;

    /// Makes the copy of the day unless it is there. It counts only once SQLite has found it whole; then the oldest
    /// ones beyond `MostKept` go.
    Result<void> makeDaily(Seconds now);
    /// Puts a copy in place of the data, one of ours by its name, or any other data file by its path. The data as they
    /// were are kept as a copy first. Passwords, sessions and a timer that still runs stay as they are now; numbers are
    /// not given out again, and programs notice that the data have changed. Returns the name of the copy that was kept.
    Result<std::string> restore(const std::string& copy, Seconds now);

private:
    Result<void> makeFolder() const;
    Result<void> copyTo(const std::string& name, Seconds now) const;
    Result<void> prepare(const std::string& from, const std::string& to) const;
    Result<std::string> keepPresent(Seconds now) const;
    Result<void> replaceFile(const std::string& with) const;
    void removeOldest(bool replaced) const;
    std::string pathOf(const std::string& name) const { return m_folder + "/" + name; }

    std::string m_file;
    std::string m_folder;
    std::string m_stem; ///< with which the names of the copies begin
};

/// Makes the daily copy of a service's data: soon after its start, and with the first request of each further day.
class DailyBackups final
{
public:
    /// What is told about copies that could not be made: a sentence, empty when they can again. On any thread.
    using Tell = std::function<void(const std::string& sentence)>;

    DailyBackups(const std::string& dataFile, Clock clock, Tell tell);
    /// Waits for a copy under way.
    ~DailyBackups();
    DailyBackups(const DailyBackups&) = delete;
    DailyBackups& operator=(const DailyBackups&) = delete;

    /// Begins the day's copy, on a thread of its own, if it is due. One that failed is tried again ten minutes later.
    void look();
    /// Waits for a copy under way.
    void finish();

    Backups& copies() { return m_copies; }
    /// Why the latest copy could not be made, if so.
    std::optional<std::string> problem() const;

private:
    void make(Seconds now);

    Backups m_copies;
    const Clock m_clock;
    const Tell m_tell;
    std::atomic<Seconds> m_due = 0;
    mutable std::mutex m_mutex;
    std::optional<std::string> m_problem;
    std::mutex m_threadMutex;
    std::thread m_thread;
};

} // namespace localservice

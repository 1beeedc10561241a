#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <sys/types.h>

namespace bench {

/// A child process; ended, and waited for, with the object.
class Process
{
public:
    enum class Output
    {
        Kept, ///< for readLine; what it writes to standard error is shown
        Dropped,
    };

    /// `environment` is added to that of this process.
    explicit Process(std::vector<std::string> command, const std::map<std::string, std::string>& environment = {},
                     Output output = Output::Kept);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t id() const { return m_id; }
    bool isRunning();
    /// The next line of its output; empty when it has ended.
    std::string readLine();
    /// Waits for it to end by itself.
    int wait();
    void end();

    /// Kilobytes; "Pss" is the process's own pages and its share of the others.
    double memory(const char* field) const;
    /// How often each of its threads has gone to sleep so far, which is how often it had to be woken.
    std::map<pid_t, std::int64_t> sleeps() const;
    /// Processor seconds used so far.
    double processorTime() const;

private:
    pid_t m_id = -1;
    int m_output = -1;
    std::string m_read;
};

/// Files loaded by a program before its `main`, as names without folders.
std::vector<std::string> librariesOf(const std::string& program);

} // namespace bench

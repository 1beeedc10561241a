#include "Process.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace bench {

namespace {

/// Calls `use` with the folder of every thread.
template <class Use>
void forThreads(pid_t process, Use use)
{
    std::error_code ended;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", ended))
        use(thread.path());
}

} // namespace

Process::Process(std::vector<std::string> command, const std::map<std::string, std::string>& environment, Output output)
{
    std::map<std::string, std::string> merged = environment;
    for (char** variable = environ; *variable; ++variable) {
        const std::string line = *variable;
        const auto sign = line.find('=');
        merged.emplace(line.substr(0, sign), line.substr(sign + 1));
    }
    std::vector<std::string> lines;
    for (const auto& [name, value] : merged)
        lines.push_back(name + '=' + value);
    std::vector<char*> variables;
    for (std::string& line : lines)
        variables.push_back(line.data());
    variables.push_back(nullptr);
    std::vector<char*> words;
    for (std::string& word : command)
        words.push_back(word.data());
    words.push_back(nullptr);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (output == Output::Dropped) {
        for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
            posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_WRONLY, 0);
    } else {
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    }
    const int failure = posix_spawn(&m_id, words[0], &actions, nullptr, words.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    m_output = ends[0];
    if (failure != 0)
        throw std::runtime_error("cannot start " + command[0]);
}

Process::~Process()
{
    end();
    close(m_output);
}

bool Process::isRunning()
{
    if (m_id > 0 && waitpid(m_id, nullptr, WNOHANG) == m_id)
        m_id = -1;
    return m_id > 0;
}

std::string Process::readLine()
{
    for (;;) {
        if (const auto end = m_read.find('\n'); end != std::string::npos) {
            const std::string line = m_read.substr(0, end);
            m_read.erase(0, end + 1);
            return line;
        }
        char buffer[4096];
        const ssize_t size = read(m_output, buffer, sizeof buffer);
        if (size <= 0)
            return std::exchange(m_read, {});
        m_read.append(buffer, static_cast<std::size_t>(size));
    }
}

int Process::wait()
{
    int status = -1;
    if (m_id > 0)
        waitpid(m_id, &status, 0);
    m_id = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void Process::end()
{
    if (!isRunning())
        return;
    kill(m_id, SIGTERM);
    wait();
}

double Process::memory(const char* field) const
{
    std::ifstream rollup("/proc/" + std::to_string(m_id) + "/smaps_rollup");
    const std::string wanted = std::string(field) + ':';
    for (std::string line; std::getline(rollup, line);) {
        if (line.starts_with(wanted))
            return std::strtod(line.c_str() + wanted.size(), nullptr);
    }
    throw std::runtime_error("the process is gone");
}

std::map<pid_t, std::int64_t> Process::sleeps() const
{
    std::map<pid_t, std::int64_t> ofThreads;
    forThreads(m_id, [&ofThreads](const std::filesystem::path& thread) {
        std::ifstream status(thread / "status");
        constexpr std::string_view wanted = "voluntary_ctxt_switches:";
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(wanted))
                ofThreads[std::stoi(thread.filename().string())] = std::stoll(line.substr(wanted.size()));
        }
    });
    return ofThreads;
}

double Process::processorTime() const
{
    double nanoseconds = 0;
    forThreads(m_id, [&nanoseconds](const std::filesystem::path& thread) {
        double running = 0;
        if (std::ifstream(thread / "schedstat") >> running)
            nanoseconds += running;
    });
    return nanoseconds / 1e9;
}

std::vector<std::string> librariesOf(const std::string& program)
{
    Process loader({program}, {{"LD_TRACE_LOADED_OBJECTS", "1"}});
    std::vector<std::string> names;
    for (std::string line = loader.readLine(); !line.empty(); line = loader.readLine()) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        names.push_back(std::filesystem::path(name).filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace bench

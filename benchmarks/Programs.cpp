#include "Programs.h"

#include <stdexcept>

#include <unistd.h>

namespace bench {

ServiceProcess::ServiceProcess(const Programs& programs, const std::string& content)
    : m_file(std::filesystem::temp_directory_path() / ("bench-" + std::to_string(getpid()) + ".sqlite"))
{
    std::vector<std::string> command{programs.service, m_file};
    if (!content.empty())
        command.push_back(content);
    m_process.emplace(command);
    m_port = m_process->readLine();
    if (m_port.empty())
        throw std::runtime_error("the service did not start");
}

ServiceProcess::~ServiceProcess()
{
    m_process.reset();
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::remove(m_file + suffix);
}

} // namespace bench

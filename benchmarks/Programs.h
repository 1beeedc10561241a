#pragma once

#include "Process.h"

#include <filesystem>
#include <optional>
#include <string>

namespace bench {

/// The programs of one build, which lie in one folder.
struct Programs
{
    /// `build`: the build's folder.
    explicit Programs(const std::filesystem::path& build)
        : quillon(build / "quillon"), bare(build / "benchmarks/bare"), service(build / "benchmarks/bench-service"),
          inside(build / "benchmarks/bench-inside"), list(build / "benchmarks/bench-list"),
          picker(build / "benchmarks/bench-picker"), desktops(build / "benchmarks/bench-desktops"),
          pages(build / "benchmarks/bench-pages"), attack(build / "benchmarks/bench-attack"),
          standAlone(build / "localservice/quillon-service")
    {
    }
    std::string quillon, bare, service, inside, list, picker, desktops, pages, attack, standAlone;
};

/// What is measured, and another build to compare it with, if any.
struct Builds
{
    Programs ours;
    std::optional<Programs> before;
};

/// A service on a data file of its own: with the large day, its last timer "running", an "ordinary" day, or "years" of
/// time.
class ServiceProcess
{
public:
    explicit ServiceProcess(const Programs& programs, const std::string& content = {});
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    const std::string& port() const { return m_port; }
    std::string process() const { return std::to_string(m_process->id()); }

private:
    std::string m_file;
    std::optional<Process> m_process;
    std::string m_port;
};

} // namespace bench

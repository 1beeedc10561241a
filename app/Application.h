#pragma once

#include "app/BuiltInService.h"
#include "app/BusCommand.h"

#include <QStringList>

#include <optional>

namespace platform {
class InfoDictionary;
}

namespace app {

/// The options on the command line.
struct Arguments
{
    bool local = false;
    bool help = false;
    bool version = false;
    bool check = false;
    QString infoFile;
    std::optional<BusCommand> command;

    /// Without the program's own name. The error is one line for standard error.
    static tl::expected<Arguments, QString> parse(const QStringList& arguments);
};

/// One start of the program, from its arguments to its exit status: 0, 1 when it cannot run here, 2 when it was called
/// wrongly.
class Application
{
public:
    explicit Application(BuiltInService::Maker builtInService) : m_builtInService(std::move(builtInService)) {}

    int run(int argc, char** argv) const;

private:
    int show(int argc, char** argv, platform::InfoDictionary info, bool local) const;

    const BuiltInService::Maker m_builtInService;
};

} // namespace app

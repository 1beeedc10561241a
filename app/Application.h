#pragma once

#include "app/BusCommand.h"
#include "app/OwnService.h"
#include "app/Windows.h"

#include <QStringList>

#include <optional>

namespace app {

/// What the program was asked for on its command line.
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
    struct Parts
    {
        WindowMakers windows;
        /// Null: this build has no service of its own.
        OwnService::Maker embeddedService;
    };

    explicit Application(Parts parts) : m_parts(std::move(parts)) {}

    int run(int argc, char** argv);

private:
    Parts m_parts;
};

} // namespace app

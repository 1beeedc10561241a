#pragma once

#include "app/BuiltInService.h"

#include <QStringList>

#include <tl/expected.hpp>

namespace platform {
class InfoDictionary;
}

namespace app {

/// The options of the program. Its commands are those of `client/`, which has taken them out.
struct Arguments
{
    bool local = false;
    bool background = false;
    bool check = false;
    QString infoFile;

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
    int show(int argc, char** argv, platform::InfoDictionary info, const Arguments& arguments) const;

    const BuiltInService::Maker m_builtInService;
};

} // namespace app

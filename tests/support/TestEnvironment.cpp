#include "TestEnvironment.h"

#include <ctime>

namespace support {

using namespace Qt::StringLiterals;

TemporaryFolders::TemporaryFolders()
{
    const auto set = [this](const char* name, const QByteArray& value) {
        m_before[name] = qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
        qputenv(name, value);
    };
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        set(name, path(QLatin1StringView(name)).toLocal8Bit());
    set("QUILLON_INFO", {});
}

TemporaryFolders::~TemporaryFolders()
{
    for (const auto& [name, value] : m_before) {
        if (value)
            qputenv(name.constData(), *value);
        else
            qunsetenv(name.constData());
    }
}

TestEnvironment::TestEnvironment()
    : information(platform::InfoDictionary::load(QString()).value_or(platform::InfoDictionary()))
{
    qputenv("TZ", Zone);
    tzset();
}

TestRun::TestRun(std::unique_ptr<TestEnvironment> made)
    : environment(*made), time(made->clock), secrets(made->secrets), network(made->network),
      alerts(made->alertPresenter), desktop(made->desktopServices), updates(made->updates), hotKeys(made->keys),
      loginItems(made->login), idle(made->idle), sleep(made->sleep), statusItem(made->item), info(made->information),
      folders(made->folders), run(std::move(made))
{
}

} // namespace support

#include "platform/SingleInstance.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <cstdio>

namespace {

void say(const char* word)
{
    std::puts(word);
    std::fflush(stdout);
}

} // namespace

/// Starts as the program does, says "first" or "second", then "activated" each time; leaves when its input is closed.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    platform::SingleInstance instance;
    const auto perform = [](const QString& name) -> std::optional<platform::SingleInstance::Refusal> {
        if (name != QLatin1StringView("show"))
            return platform::SingleInstance::Refusal{QStringLiteral("com.example.NoSuchAction"), name};
        say("show");
        return std::nullopt;
    };
    if (!instance.claim(
            platform::startupIds(), [] { say("activated"); }, perform)) {
        say("second");
        return 0;
    }
    say("first");
    const QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [] { QCoreApplication::exit(0); });
    return QCoreApplication::exec();
}

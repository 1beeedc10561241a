#include "platform/SingleInstance.h"

#include <QByteArray>
#include <QCoreApplication>

#include <cstdio>

namespace {

void say(const QByteArray& word)
{
    std::puts(word.constData());
    std::fflush(stdout);
}

} // namespace

/// Starts as the program does, says "first" or "second", then "activated" each time, or "show" and what allows it.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    platform::SingleInstance instance;
    const auto perform = [](const QString& name, const platform::SingleInstance::Done& done) {
        if (name != QLatin1StringView("show")) {
            done(platform::SingleInstance::Refusal{QStringLiteral("com.example.NoSuchAction"), name});
            return;
        }
        say("show " + qgetenv("XDG_ACTIVATION_TOKEN"));
        done(std::nullopt);
    };
    if (!instance.claim(
            platform::startupIds(), [] { say("activated"); }, perform)) {
        say("second");
        return 0;
    }
    say("first");
    return QCoreApplication::exec();
}

#include "app/Relaunch.h"

#include "platform/Paths.h"
#include "settings/QuillonPreferences.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>

namespace app {

using namespace Qt::StringLiterals;

QStringList startArguments()
{
    const bool here = settings::QuillonPreferences::sharedPreferences().timeIsKeptHere();
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (!here)
        arguments.removeAll(u"--local"_s);
    // The next start may be in another folder.
    constexpr auto info = "--info="_L1;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString& argument = arguments[i];
        if (argument.startsWith(info))
            argument = info + QDir().absoluteFilePath(argument.mid(info.size()));
        else if (i > 0 && arguments.at(i - 1) == "--info"_L1)
            argument = QDir().absoluteFilePath(argument);
    }
    return arguments;
}

void relaunch(QObject* /*sender*/)
{
    const QString helper =
        QStandardPaths::findExecutable(u"relaunch_quillon"_s, {QCoreApplication::applicationDirPath()});
    const QStringList arguments =
        QStringList{platform::programPath(), QString::number(QCoreApplication::applicationPid())} + startArguments();
    if (!helper.isEmpty() && QProcess::startDetached(helper, arguments))
        QCoreApplication::exit(0);
}

} // namespace app

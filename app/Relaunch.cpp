#include "app/Relaunch.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

namespace app {

using namespace Qt::StringLiterals;

bool relaunch(QObject* /*sender*/)
{
    // Beside the program, in a build as in an installation.
    const QString helper =
        QStandardPaths::findExecutable(u"relaunch_quillon"_s, {QCoreApplication::applicationDirPath()});
    // As it was started now: else a person with a timesheet on this computer would come back signed out.
    const QStringList arguments =
        QStringList{QCoreApplication::applicationFilePath(), QString::number(QCoreApplication::applicationPid())} +
        QCoreApplication::arguments().mid(1);
    if (helper.isEmpty() || !QProcess::startDetached(helper, arguments))
        return false;
    QCoreApplication::exit(0);
    return true;
}

} // namespace app

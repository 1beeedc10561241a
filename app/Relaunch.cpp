#include "app/Relaunch.h"

#include <QCoreApplication>
#include <QProcess>
#include <QStandardPaths>

namespace app {

using namespace Qt::StringLiterals;

bool relaunch(QObject* /*sender*/)
{
    // In a build it lies beside the program.
    const QString here = QCoreApplication::applicationDirPath();
    const QString helper =
        QStandardPaths::findExecutable(u"relaunch_quillon"_s, {here + "/" QUILLON_HELPER_FOLDER ""_L1, here});
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

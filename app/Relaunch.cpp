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
    if (helper.isEmpty() || !QProcess::startDetached(helper, {QCoreApplication::applicationFilePath(),
                                                              QString::number(QCoreApplication::applicationPid())}))
        return false;
    QCoreApplication::exit(0);
    return true;
}

} // namespace app

#include "Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

QString absolute(const char* variable)
{
    const QString value = QFile::decodeName(qgetenv(variable));
    return QDir::isAbsolutePath(value) ? QDir::cleanPath(value) : QString();
}

QString inHome(const char* variable, QLatin1StringView folder)
{
    QString given = absolute(variable);
    if (!given.isEmpty())
        return given;
    const QString home = absolute("HOME");
    return home.isEmpty() ? QString() : home + u'/' + folder;
}

QString within(const QString& folder, QLatin1StringView name)
{
    return folder.isEmpty() ? folder : folder + u'/' + name;
}

QString quillon(const QString& folder)
{
    return within(folder, "Quillon"_L1);
}

} // namespace

QString configFolder()
{
    return quillon(inHome("XDG_CONFIG_HOME", ".config"_L1));
}

QStringList configFolders()
{
    QStringList folders;
    QString system = QFile::decodeName(qgetenv("XDG_CONFIG_DIRS"));
    if (system.isEmpty())
        system = u"/etc/xdg"_s;
    for (const QString& folder : system.split(u':')) {
        if (QDir::isAbsolutePath(folder))
            folders.prepend(quillon(QDir::cleanPath(folder)));
    }
    if (const QString own = configFolder(); !own.isEmpty())
        folders.append(own);
    return folders;
}

QString autostartFolder()
{
    return within(inHome("XDG_CONFIG_HOME", ".config"_L1), "autostart"_L1);
}

QString dataFolder()
{
    return quillon(inHome("XDG_DATA_HOME", ".local/share"_L1));
}

QString runtimeFolder()
{
    QString given = absolute("XDG_RUNTIME_DIR");
    if (!given.isEmpty() && QDir(given).exists())
        return given;
    const QString own = QDir::tempPath() + "/quillon-"_L1 + QString::number(getuid());
    const QByteArray name = QFile::encodeName(own);
    mkdir(name.constData(), 0700);
    // Anyone may have put something there under our name.
    struct stat found;
    const bool ours = lstat(name.constData(), &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == getuid() &&
                      (found.st_mode & 0077) == 0;
    return ours ? own : QString();
}

QString programPath()
{
    const QString here = QCoreApplication::applicationDirPath();
    const QString found = QStandardPaths::findExecutable(u"quillon"_s, {here + "/" QUILLON_COMMAND_FOLDER ""_L1, here});
    return found.isEmpty() ? QCoreApplication::applicationFilePath() : QFileInfo(found).canonicalFilePath();
}

QString manualPage()
{
    const QString here = QCoreApplication::applicationDirPath();
    for (const auto folder : {"/" QUILLON_MANUAL_FOLDER ""_L1, "/manual"_L1}) {
        const QFileInfo page(here + folder + "/using.html"_L1);
        if (page.exists())
            return page.canonicalFilePath();
    }
    return {};
}

bool makeFolder(const QString& folder)
{
    const QString path = QDir::cleanPath(folder);
    if (!QDir::isAbsolutePath(path))
        return false;
    for (qsizetype end = path.indexOf(u'/', 1);; end = path.indexOf(u'/', end + 1)) {
        mkdir(QFile::encodeName(path.left(end)).constData(), 0700);
        if (end < 0)
            return QDir(path).exists();
    }
}

bool makeOwnFolder(const QString& folder)
{
    if (!makeFolder(folder))
        return false;
    // Never adds a permission: what is read-only stays so.
    const auto narrow = [](const QString& path, mode_t most) {
        const QByteArray name = QFile::encodeName(path);
        struct stat found;
        if (stat(name.constData(), &found) == 0 && found.st_uid == getuid() && (found.st_mode & 0077) != 0)
            chmod(name.constData(), found.st_mode & most);
    };
    narrow(folder, 0700);
    for (const QFileInfo& file : QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks)) {
        if (file.fileName() != "Info.json"_L1)
            narrow(file.filePath(), 0600);
    }
    return true;
}

} // namespace platform

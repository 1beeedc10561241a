#include "AutostartItems.h"

#include "../Paths.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr auto Ours = "com.wrenfold.quillon.desktop"_L1;
// Larger than any entry with all its translations.
constexpr qint64 LargestEntry = qint64{256} * 1024;

/// A value as it stands in the file ("Values" in the Desktop Entry Specification).
QString escaped(QString value)
{
    return value.replace(u'\\', u"\\\\"_s).replace(u'\n', u"\\n"_s).replace(u'\t', u"\\t"_s).replace(u'\r', u"\\r"_s);
}

QString unescaped(QStringView text)
{
    QString value;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != u'\\' || i + 1 == text.size()) {
            value += text[i];
            continue;
        }
        const QChar character = text[++i];
        value += character == u's'   ? QChar(u' ')
                 : character == u'n' ? QChar(u'\n')
                 : character == u't' ? QChar(u'\t')
                 : character == u'r' ? QChar(u'\r')
                                     : character;
    }
    return value;
}

/// One word of a command line ("The Exec key" there).
QString quoted(QString word)
{
    for (const QChar character : {u'\\', u'"', u'`', u'$'})
        word.replace(character, QString(u'\\') + character);
    return u'"' + word.replace(u'%', u"%%"_s) + u'"';
}

/// The first word of a command line: what it starts.
QString firstWord(QStringView command)
{
    QString word;
    bool inQuotes = false;
    command = command.trimmed();
    for (qsizetype i = 0; i < command.size(); ++i) {
        const QChar character = command[i];
        const bool escapes = (inQuotes && character == u'\\') || character == u'%';
        if (character == u'"')
            inQuotes = !inQuotes;
        else if (!inQuotes && character.isSpace())
            break;
        else if (escapes && i + 1 < command.size())
            word += command[++i];
        else
            word += character;
    }
    return word;
}

/// What the entry says about itself; null values where it says nothing.
struct Entry
{
    QString type;
    QString exec;
    bool switchedOff = false;
};

Entry read(const QString& path)
{
    Entry entry;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return entry;
    bool inGroup = false;
    for (const QString& text : QString::fromUtf8(file.read(LargestEntry)).split(u'\n')) {
        const QStringView line = QStringView(text).trimmed();
        if (line.startsWith(u'[')) {
            inGroup = line == "[Desktop Entry]"_L1;
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (!inGroup || line.startsWith(u'#') || equals < 0)
            continue;
        const QStringView key = line.first(equals).trimmed();
        const QString value = unescaped(line.sliced(equals + 1).trimmed());
        if (key == "Type"_L1)
            entry.type = value;
        else if (key == "Exec"_L1)
            entry.exec = value;
        else if ((key == "Hidden"_L1 && value == "true"_L1) ||
                 (key == "X-GNOME-Autostart-enabled"_L1 && value == "false"_L1))
            entry.switchedOff = true;
    }
    return entry;
}

std::optional<QString> program(const Entry& entry)
{
    const QString word = entry.type == "Application"_L1 ? firstWord(entry.exec) : QString();
    if (word.isEmpty())
        return std::nullopt;
    const QString found = QDir::isAbsolutePath(word) ? word : QStandardPaths::findExecutable(word);
    return found.isEmpty() ? std::nullopt : std::optional(found);
}

} // namespace

bool AutostartItems::available()
{
    return !autostartFolder().isEmpty();
}

AutostartItems::AutostartItems() : m_folder(autostartFolder()) {}

QString AutostartItems::path(const QString& name) const
{
    return m_folder + u'/' + name;
}

bool AutostartItems::insert(const QString& program, const QStringList& arguments)
{
    // Listed twice, the program would take the second start for a request to show its window.
    for (const Item& item : snapshot().value_or(std::vector<Item>())) {
        const Entry entry = read(path(item.name));
        if (item.name != Ours && !entry.switchedOff && platform::program(entry) == program)
            return true;
    }
    QString command = quoted(program);
    for (const QString& argument : arguments)
        command += u' ' + quoted(argument);
    if (!makeFolder(m_folder))
        return false;
    QSaveFile file(path(Ours));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // Its content is executed: nobody else may write it, whatever the umask.
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    file.write(u"[Desktop Entry]\n"
               "Type=Application\n"
               "Name=Quillon\n"
               "Comment=Shows the hours of your running timer\n"
               "Exec=%1\n"
               "TryExec=%2\n"
               "Icon=com.wrenfold.quillon\n"
               "X-GNOME-Autostart-enabled=true\n"_s.arg(escaped(command), escaped(program))
                   .toUtf8());
    return file.commit();
}

std::optional<std::vector<LoginItems::Item>> AutostartItems::snapshot() const
{
    const QFileInfo folder(m_folder);
    if (folder.exists() && !(folder.isDir() && folder.isReadable()))
        return std::nullopt;
    std::vector<Item> items;
    for (const QString& name : QDir(m_folder).entryList({u"*.desktop"_s}, QDir::Files | QDir::Hidden, QDir::Name))
        items.push_back({name});
    return items;
}

std::optional<QString> AutostartItems::resolve(const Item& item) const
{
    return program(read(path(item.name)));
}

bool AutostartItems::remove(const Item& item)
{
    return QFile::remove(path(item.name));
}

} // namespace platform

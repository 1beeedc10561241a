#include "UserDefaults.h"

#include "platform/Paths.h"
#include "platform/Run.h"

#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QSettings>

#include <optional>

#include <sys/stat.h>

namespace settings {

using namespace Qt::StringLiterals;

namespace {

/// A value of an INI file as a string. An unquoted comma makes a list of it, which is hardly intended.
QString textOf(const QVariant& value)
{
    if (value.typeId() == QMetaType::QStringList)
        return value.toStringList().join(u", "_s);
    return value.toString();
}

std::optional<bool> booleanOf(const QVariant& value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    const QString text = textOf(value).trimmed().toLower();
    if (text == "true"_L1 || text == "yes"_L1 || text == "1"_L1)
        return true;
    if (text == "false"_L1 || text == "no"_L1 || text == "0"_L1)
        return false;
    return std::nullopt;
}

std::optional<qint64> integerOf(const QVariant& value)
{
    bool isNumber = false;
    const qint64 number = textOf(value).trimmed().toLongLong(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

UserDefaults::UserDefaults() : UserDefaults(platform::configFolder() + "/Quillon.conf"_L1) {}

UserDefaults::UserDefaults(const QString& file) : m_file(file)
{
    load();
}

UserDefaults& UserDefaults::standardUserDefaults()
{
    return platform::Run::current().shared<UserDefaults>();
}

void UserDefaults::load()
{
    const QSettings file(m_file, QSettings::IniFormat);
    QHash<QString, QVariant> values;
    for (const QString& key : file.childKeys())
        values.insert(key, file.value(key));

    const std::lock_guard lock(m_mutex);
    m_values = std::move(values);
}

void UserDefaults::registerDefaults(std::initializer_list<Default> defaults)
{
    const std::lock_guard lock(m_mutex);
    for (const Default& entry : defaults)
        m_defaults.insert(entry.key, entry);
}

template <class Accept>
QVariant UserDefaults::find(QLatin1StringView name, Accept accept) const
{
    const QString key(name);
    if (const auto found = m_values.find(key); found != m_values.end() && accept(*found))
        return *found;
    const auto found = m_defaults.find(key);
    return found != m_defaults.end() && accept(found->value) ? found->value : QVariant();
}

QString UserDefaults::stringForKey(QLatin1StringView key) const
{
    const std::lock_guard lock(m_mutex);
    return textOf(find(key, [](const QVariant& value) { return !textOf(value).isNull(); }));
}

bool UserDefaults::boolForKey(QLatin1StringView key) const
{
    const std::lock_guard lock(m_mutex);
    return booleanOf(find(key, [](const QVariant& value) { return booleanOf(value).has_value(); })).value_or(false);
}

qint64 UserDefaults::integerForKey(QLatin1StringView key) const
{
    const std::lock_guard lock(m_mutex);
    const Default sense = m_defaults.value(QString(key));
    const auto accept = [&sense](const QVariant& value) {
        const std::optional<qint64> number = integerOf(value);
        return number && *number >= sense.least && *number <= sense.most;
    };
    return integerOf(find(key, accept)).value_or(0);
}

void UserDefaults::setString(QLatin1StringView key, const QString& text)
{
    set(key, text.isNull() ? QVariant() : QVariant(text));
}

void UserDefaults::set(QLatin1StringView name, const QVariant& value)
{
    const std::lock_guard lock(m_mutex);
    const QString key(name);
    m_changed.insert(key);
    if (value.isValid())
        m_values.insert(key, value);
    else
        m_values.remove(key);
}

bool UserDefaults::synchronize()
{
    if (!m_changed.isEmpty()) {
        platform::makeFolder(QFileInfo(m_file).path());
        // It is written via a file beside it, under a lock: these must be private to the user, too.
        const mode_t before = umask(0077);
        const auto restore = qScopeGuard([before] { umask(before); });
        QSettings file(m_file, QSettings::IniFormat);
        for (const QString& key : std::as_const(m_changed)) {
            if (m_values.contains(key))
                file.setValue(key, m_values.value(key));
            else
                file.remove(key);
        }
        file.sync();
        if (file.status() == QSettings::AccessError)
            return false;
        QFile::setPermissions(m_file, QFile::ReadOwner | QFile::WriteOwner);
        m_changed.clear();
    }
    load();
    return true;
}

} // namespace settings

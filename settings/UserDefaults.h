#pragma once

#include <QHash>
#include <QLatin1StringView>
#include <QSet>
#include <QString>
#include <QVariant>

#include <initializer_list>
#include <limits>
#include <mutex>

namespace settings {

/// The user's settings: `[General]` of an INI file, over registered defaults.
///
/// The file is read on construction and again by `synchronize`. A value of the wrong type reads as the default. Reading
/// is safe from any thread, the rest belongs to the main thread.
class UserDefaults
{
public:
    /// A key's default, used when the file has no value or an invalid one, and the valid integers.
    struct Default
    {
        QLatin1StringView key;
        QVariant value;
        qint64 least = std::numeric_limits<qint64>::min();
        qint64 most = std::numeric_limits<qint64>::max();
    };

    /// The file is `Quillon.conf` in the folder for the user's settings.
    UserDefaults();
    explicit UserDefaults(const QString& file);
    UserDefaults(const UserDefaults&) = delete;
    UserDefaults& operator=(const UserDefaults&) = delete;

    /// The one of the current run.
    static UserDefaults& standardUserDefaults();

    void registerDefaults(std::initializer_list<Default> defaults);

    QString stringForKey(QLatin1StringView key) const; ///< null when absent
    bool boolForKey(QLatin1StringView key) const;      ///< false when absent
    qint64 integerForKey(QLatin1StringView key) const; ///< 0 when absent

    /// A null string removes the key. Setters change nothing on disk before `synchronize`.
    void setString(QLatin1StringView key, const QString& text);
    void setBool(QLatin1StringView key, bool value) { set(key, value); }
    void setInteger(QLatin1StringView key, qint64 value) { set(key, value); }

    /// Writes what was set, all or nothing, and picks up what others wrote to the other keys. The file is readable by
    /// the user only. False when it could not be written: what was set stays for the next time.
    bool synchronize();

private:
    void load();
    void set(QLatin1StringView key, const QVariant& value);
    /// The first of the file's value and the default for which `accept` is true. Without one: an invalid value.
    template <class Accept>
    QVariant find(QLatin1StringView key, Accept accept) const;

    const QString m_file;
    mutable std::mutex m_mutex;
    QHash<QString, QVariant> m_values;
    QSet<QString> m_changed;
    QHash<QString, Default> m_defaults;
};

} // namespace settings

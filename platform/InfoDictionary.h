#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <tl/expected.hpp>

namespace platform {

/// The tuning values that come with a build, a system or a start; not edited by the person.
///
/// Built in from `resources/Info.json`. Single keys are overridden by `Quillon/Info.json` in the XDG configuration
/// folders (system first, then user), then by the file that `--info` or the environment variable `QUILLON_INFO` names.
class InfoDictionary
{
public:
    InfoDictionary() = default;
    explicit InfoDictionary(QJsonObject values) : m_values(std::move(values)) {}

    /// Reads all layers. `file` is the one given at start, empty for none. The error is one line, and concerns only
    /// that file: a broken file in a configuration folder is skipped.
    static tl::expected<InfoDictionary, QString> load(const QString& file);

    QString string(QLatin1StringView key) const;
    bool boolean(QLatin1StringView key) const;
    /// Zero when absent or no number.
    double number(QLatin1StringView key) const;

    void set(QLatin1StringView key, const QJsonValue& value) { m_values.insert(key, value); }

private:
    QJsonObject m_values;
};

} // namespace platform

#pragma once

#include <QJsonObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

#include <tl/expected.hpp>

namespace app {

/// One line made from the running program's properties on the session bus, for bars and scripts. Any thread.
class StatusText
{
public:
    /// The format, with "{project}" and the like in it (see docs/command-line.md). Fails with a sentence for people
    /// when a placeholder is unknown.
    static tl::expected<StatusText, QString> parse(const QString& format);

    /// The default: "1:05 running, Website, Design".
    StatusText() = default;

    /// `properties` are those of the bus interface; empty: the program is not running.
    QString line(const QVariantMap& properties) const;

    /// The same as JSON, with the keys that Waybar reads ("text", "alt", "class", "tooltip") among others. The text
    /// follows the format, by default what the status item shows.
    QByteArray json(const QVariantMap& properties) const;

private:
    QString filled(const QJsonObject& values) const;

    std::optional<QString> m_format; ///< empty: the default
};

} // namespace app

#pragma once

#include <QJsonObject>
#include <QStringList>
#include <QVariantMap>

#include <optional>

#include <tl/expected.hpp>

namespace app {

/// One line of text made of what the running program tells on the session bus, for bars and scripts. Any thread.
class StatusText
{
public:
    /// What is shown, with "{project}" and the like in it (see docs/command-line.md). Fails with a sentence for people
    /// when it has a placeholder that is none.
    static tl::expected<StatusText, QString> parse(const QString& format);

    /// The default: "1:05 running, Website, Design".
    StatusText() = default;

    /// `properties` are those of the bus interface; empty: the program does not run.
    QString line(const QVariantMap& properties) const;

    /// The same for programs, with the keys that Waybar reads ("text", "alt", "class", "tooltip") among them. The text
    /// is what the format says, by default what the status item shows.
    QByteArray json(const QVariantMap& properties) const;

private:
    QString filled(const QJsonObject& values) const;

    std::optional<QString> m_format; ///< empty: the default
};

} // namespace app

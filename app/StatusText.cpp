#include "app/StatusText.h"

#include "app/Text.h"

#include <QJsonDocument>
#include <QRegularExpression>

#include <algorithm>

namespace app {

using namespace Qt::StringLiterals;

namespace {

constexpr QLatin1StringView Placeholders[] = {"text"_L1,    "hours"_L1, "state"_L1,  "symbol"_L1,
                                              "project"_L1, "task"_L1,  "client"_L1, "notes"_L1};

/// A doubled brace, or a placeholder with its closing brace.
const QRegularExpression& pieces()
{
    static const QRegularExpression pieces(u"\\{\\{|\\}\\}|\\{([^}]*)(\\}?)"_s);
    return pieces;
}

/// What the status item shows: the hours, or why there are none.
QString shown(const QString& state, const QString& hours)
{
    if (state == "not-running"_L1)
        return {};
    if (state == "offline"_L1)
        return tr("offline");
    if (state == "signed-out"_L1)
        return tr("signed out");
    return hours;
}

QString symbol(const QString& state)
{
    if (state == "not-running"_L1)
        return {};
    return state == "running"_L1 ? u"●"_s : u"○"_s;
}

/// Every value by the name of its placeholder, each on one line.
QJsonObject values(const QVariantMap& properties)
{
    const auto text = [&](const char* property) {
        return properties.value(QString::fromLatin1(property)).toString().simplified();
    };
    const QString state = properties.isEmpty() ? u"not-running"_s : text("State");
    const QString hours = text("Hours");
    return {{"text"_L1, shown(state, hours)},
            {"hours"_L1, hours},
            {"state"_L1, state},
            {"symbol"_L1, symbol(state)},
            {"project"_L1, text("Project")},
            {"task"_L1, text("Task")},
            {"client"_L1, text("Client")},
            {"notes"_L1, text("Notes")}};
}

QStringList withoutEmpty(QStringList texts)
{
    texts.removeAll(QString());
    return texts;
}

} // namespace

tl::expected<StatusText, QString> StatusText::parse(const QString& format)
{
    for (const QRegularExpressionMatch& match : pieces().globalMatch(format)) {
        if (match.hasCaptured(1) && (match.capturedLength(2) == 0 ||
                                     std::ranges::find(Placeholders, match.captured(1)) == std::end(Placeholders)))
            return tl::unexpected(tr("there is no placeholder \"%1\" in --format").arg(match.captured()));
    }
    StatusText parsed;
    parsed.m_format = format;
    return parsed;
}

QString StatusText::filled(const QJsonObject& values) const
{
    QString text;
    qsizetype done = 0;
    for (const QRegularExpressionMatch& match : pieces().globalMatch(*m_format)) {
        text += m_format->mid(done, match.capturedStart() - done);
        text += match.hasCaptured(1) ? values.value(match.captured(1)).toString() : match.captured().left(1);
        done = match.capturedEnd();
    }
    return text + m_format->mid(done);
}

QString StatusText::line(const QVariantMap& properties) const
{
    // A bar has nothing to show then, whatever the format puts around its placeholders.
    if (properties.isEmpty())
        return {};
    const QJsonObject all = values(properties);
    if (m_format)
        return filled(all);
    const auto value = [&](QLatin1StringView name) { return all.value(name).toString(); };
    const bool timing = value("state"_L1) == "running"_L1 || value("state"_L1) == "stopped"_L1;
    return withoutEmpty({timing ? value("hours"_L1) + u' ' + value("state"_L1) : value("text"_L1), value("project"_L1),
                         value("task"_L1)})
        .join(", "_L1);
}

QByteArray StatusText::json(const QVariantMap& properties) const
{
    QJsonObject all = values(properties);
    const QString toolTip = withoutEmpty({StatusText().line(properties), all.value("notes"_L1).toString()}).join(u'\n');
    if (m_format)
        all.insert("text"_L1, properties.isEmpty() ? QString() : filled(all));
    all.remove("symbol"_L1);
    for (const QLatin1StringView name : {"alt"_L1, "class"_L1})
        all.insert(name, all.value("state"_L1));
    all.insert("tooltip"_L1, toolTip);
    for (const auto& [name, property] :
         {std::pair{"running"_L1, "Running"}, {"offline"_L1, "Offline"}, {"signedOut"_L1, "SignedOut"}})
        all.insert(name, properties.value(QString::fromLatin1(property)).toBool());
    return QJsonDocument(all).toJson(QJsonDocument::Compact);
}

} // namespace app

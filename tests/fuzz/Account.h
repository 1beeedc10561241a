#pragma once

#include "../model/ModelRun.h"

#include <QStringList>

/// A run of the program with an account in its store, forgotten from one text to the next.
class Account
{
public:
    Account() { forget(); }

    /// False when it was refused; then nothing was changed.
    bool import(model::XmlImport parseXml, const QByteArray& xml)
    {
        const bool isRead = m_run.import(parseXml, xml);
        MUST(isRead || m_run.saves == 0);
        return isRead;
    }

    /// Everything in the main context, one line an object. The file has the same.
    QStringList contents()
    {
        store::Context file(m_run.coordinator(), store::MergePolicy::Overwrite);
        const QStringList seen = seenBy(m_run.main());
        MUST(seen == seenBy(file));
        return seen;
    }

    void forget()
    {
        store::Context& main = m_run.main();
        for (const store::Entity& entity : m_run.coordinator()->model().entities()) {
            for (store::Object* object : main.fetch({entity.name, {}, {}})) {
                if (!object->isDeleted())
                    main.remove(*object);
            }
        }
        MUST(main.save());
        m_run.signIn(true);
    }

private:
    static QString text(const store::Value& value)
    {
        if (const auto* moment = std::get_if<QDateTime>(&value))
            return QString::number(moment->toMSecsSinceEpoch());
        if (const auto* string = std::get_if<QString>(&value))
            return QLatin1Char('"') + *string + QLatin1Char('"');
        return std::visit(
            [](const auto& number) {
                if constexpr (std::is_arithmetic_v<std::decay_t<decltype(number)>>)
                    return QString::number(static_cast<double>(number), 'g', 17);
                return QString();
            },
            value);
    }

    static QString attributes(const store::Object* object)
    {
        QStringList all;
        for (const store::Attribute& attribute : object ? object->entity().attributes : std::vector<store::Attribute>())
            all << text(object->value(attribute.name));
        return all.join(QLatin1Char(' '));
    }

    /// Without the numbers of rows, which mean nothing.
    static QStringList seenBy(store::Context& context)
    {
        QStringList all;
        for (const store::Entity& entity : context.coordinator().model().entities()) {
            for (const store::Object* object : context.fetch({entity.name, {}, {}})) {
                QStringList line{QString::fromStdString(entity.name), attributes(object)};
                for (std::size_t i = 0; i < static_cast<std::size_t>(entity.toOneCount); ++i)
                    line << attributes(object->toOne(entity.relationships[i].name));
                all << line.join(QStringLiteral(" | "));
            }
        }
        all.sort();
        return all;
    }

    ModelRun m_run{"Europe/Berlin"};
};

#pragma once

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

#include <QHash>

namespace support {

/// A language that nobody speaks, for as long as it lives: whoever reads English can still read it, and what is left in
/// plain letters is no translation.
///
/// Accented has a third to a half more letters than English. Mirrored has Hebrew ones, from right to left. Both have
/// the dates of a country whose names have no Latin letters either.
class PseudoLanguage final : public QTranslator
{
public:
    enum Kind
    {
        Accented,
        Mirrored
    };

    explicit PseudoLanguage(Kind kind) : m_kind(kind)
    {
        QLocale::setDefault(kind == Mirrored ? QLocale(QLocale::Hebrew, QLocale::Israel)
                                             : QLocale(QLocale::Greek, QLocale::Greece));
        QCoreApplication::installTranslator(this);
    }
    ~PseudoLanguage() override
    {
        QCoreApplication::removeTranslator(this);
        QLocale::setDefault(m_before);
    }

    bool isEmpty() const override { return false; }

    QString translate(const char* /*context*/, const char* source, const char* /*meaning*/, int /*n*/) const override
    {
        using namespace Qt::StringLiterals;
        const QString english = QString::fromUtf8(source);
        if (english == "QT_LAYOUT_DIRECTION"_L1)
            return m_kind == Mirrored ? u"RTL"_s : u"LTR"_s;
        QString made;
        for (qsizetype i = 0; i < english.size(); ++i) {
            const QChar letter = english[i];
            // Placeholders and markup stay.
            const QChar end = letter == u'<' ? u'>' : letter == u'%' ? u'\0' : letter;
            if (end == u'\0') {
                made += english.mid(i, 2);
                ++i;
            } else if (end != letter && english.indexOf(end, i) > 0) {
                made += english.mid(i, english.indexOf(end, i) - i + 1);
                i = english.indexOf(end, i);
            } else {
                made += inThisLanguage(letter);
            }
        }
        return made;
    }

private:
    QString inThisLanguage(QChar letter) const
    {
        constexpr QStringView latin = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
        const auto at = latin.indexOf(letter);
        if (at < 0)
            return letter;
        if (m_kind == Mirrored)
            return QStringView(u"אבגדהוזחטיכלמנסעפצקרשתאבגד")[at % 26];
        const QChar accented = QStringView(u"áƀçđéƒğħíĵķľɱñóƥʠřşţúṽŵẋýžÁƁÇĐÉƑĞĦÍĴĶĽṀÑÓƤɊŘŞŢÚṼŴẊÝŽ")[at];
        return QStringView(u"aeiouyAEIOUY").contains(letter) ? QString(2, accented) : QString(accented);
    }

    const Kind m_kind;
    const QLocale m_before;
};

} // namespace support

// What people type on a command line: names, lengths, times and days.

#include "booking/Names.h"
#include "booking/TypedTime.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace booking {

class ReadingTest : public QObject
{
    Q_OBJECT
private slots:
    void hours()
    {
        for (const auto& [typed, minutes] : {std::pair(u"1:30| 1.5 |1,5|90m|90min|1h30|1h 30m"_s, 90.0),
                                             {u":45"_s, 45},
                                             {u".25"_s, 15},
                                             {u"24"_s, 1440},
                                             {u"2h"_s, 120},
                                             {u"|90 MIN|24:01|0|0:00|-1|1:60|1:5|90|1e1|nan|١|1:30x"_s, 0}}) {
            for (const QString& one : typed.split(u'|'))
                QCOMPARE(std::pair(one, readHours(one).value_or(0) * 60), std::pair(one, minutes));
        }
    }

    void clocks()
    {
        for (const auto& [typed, time] : {std::pair(u"9:05|0905|905"_s, u"09:05"_s),
                                          {u"17"_s, u"17:00"_s},
                                          {u"9am"_s, u"09:00"_s},
                                          {u"12am"_s, u"00:00"_s},
                                          {u"12:30 PM"_s, u"12:30"_s},
                                          {u"11:59p.m."_s, u"23:59"_s},
                                          {u"|24:00|13pm|0am|9:5|9:05:00"_s, u""_s}}) {
            for (const QString& one : typed.split(u'|'))
                QCOMPARE(std::pair(one, readClock(one).value_or(QTime()).toString(u"HH:mm"_s)), std::pair(one, time));
        }
    }

    void days()
    {
        const QDate friday(2026, 11, 20);
        for (const auto& [typed, days] : {std::pair(u""_s, u"11-20 11-20"_s),
                                          {u"Yesterday|thu"_s, u"11-19 11-19"_s},
                                          {u"friday"_s, u"11-13 11-13"_s},
                                          {u"saturday"_s, u"11-14 11-14"_s},
                                          {u"week|monday.."_s, u"11-16 11-20"_s},
                                          {u"2026-11-02..2026-11-04"_s, u"11-02 11-04"_s},
                                          {u"tomorrow"_s, u"11-21 11-21"_s},
                                          {u"2026-02-30|2026-2-3|today..yesterday|..|fri day"_s, u""_s}}) {
            for (const QString& one : typed.split(u'|')) {
                const auto read = readDays(one, friday);
                const QString shown =
                    read ? read->first.toString(u"MM-dd "_s) + read->last.toString(u"MM-dd"_s) : QString(u""_s);
                QCOMPARE(std::pair(one, shown), std::pair(one, days));
            }
        }
    }

    void names()
    {
        const std::vector<Named> projects{{{u"JB"_s, u"Shop"_s}, u"[JB] Shop"_s},
                                          {{u"Shop Floor"_s}, u"Shop Floor"_s},
                                          {{u"Workshop"_s}, u"Workshop"_s},
                                          {{u"Straße"_s}, u"Straße"_s}};
        for (const auto& [typed, found] : {std::pair(u"shop"_s, u"[JB] Shop"_s), // exact before beginning
                                           {u" jb "_s, u"[JB] Shop"_s},
                                           {u"shop f"_s, u"Shop Floor"_s},
                                           {u"work"_s, u"Workshop"_s},
                                           {u"STRASSE"_s, u"NotFound"_s},
                                           {u"sho"_s, u"Ambiguous"_s},
                                           {u"o"_s, u"Ambiguous"_s},
                                           {u" "_s, u"NotFound"_s},
                                           {QString(100'000, u'x'), u"NotFound"_s}}) {
            const auto which = find(projects, typed, u"project"_s);
            const QString said = which ? projects[*which].shown : QString(which.error().error);
            QCOMPARE(std::pair(typed, said), std::pair(typed, found));
        }
        const auto nearest = find(projects, u"wrokshop"_s, u"project"_s);
        QVERIFY(!nearest);
        QCOMPARE(nearest.error().reason.section(u'\n', 1, 1).trimmed(), u"Workshop"_s);
        const auto several = find(projects, u"sho"_s, u"project"_s);
        QCOMPARE(several.error().reason.count(u'\n'), 2);
    }
};

} // namespace booking

QTEST_GUILESS_MAIN(booking::ReadingTest)

#include "ReadingTest.moc"

#include "ModelRun.h"

#include "model/DateComparisons.h"
#include "model/DateFormatting.h"
#include "model/HoursMinutes.h"
#include "model/QuillonHoursFormatter.h"
#include "store/Utc.h"
#include "support/InRow.h"
#include "support/Table.h"

#include <QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using model::DateFormatting;

using Reader = QDateTime (DateFormatting::*)(const QString&);
using Writer = QString (DateFormatting::*)(const QDateTime&);

class FormatsTest : public QObject
{
    Q_OBJECT

private slots:
    void reads()
    {
        const QHash<QString, Reader> readers{{u"datetime"_s, &DateFormatting::dateFromDatetime},
                                             {u"rails"_s, &DateFormatting::dateFromRailsDatetime},
                                             {u"day"_s, &DateFormatting::dateFromDaydate},
                                             {u"long day"_s, &DateFormatting::dateFromLongDaydate},
                                             {u"clock"_s, &DateFormatting::dateFromStartedStoppedString},
                                             {u"typed"_s, &DateFormatting::dateFromUnvalidatedStartedStoppedString}};
        const QList<QStringList> rows = support::table(QFINDTESTDATA("dates.txt"));
        QVERIFY(rows.size() > 60);
        support::TestRun run;
        for (const QStringList& row : rows) {
            const support::InRow named(row.join(u' '));
            const Zone here(row[1].toUtf8().constData());
            QCOMPARE(utc((DateFormatting::instance().*readers[row[0]])(row[2])), row[3]);
        }
    }

    void writes()
    {
        const std::pair<Writer, const char16_t*> rows[] = {
            {&DateFormatting::datetimeStringFromDate, u"Tue, 5 Mar 2024 02:03:04 +0000"},
            {&DateFormatting::localDatetimeStringFromDate, u"21:03PM"},
            {&DateFormatting::daydateStringFromDate, u"2024-03-04"},
            {&DateFormatting::longDaydateStringFromDate, u"Mon, 4 Mar 2024"},
            {&DateFormatting::monthDayYearStringFromDate, u"Mar 4, 2024"},
            {&DateFormatting::hoursMinutesStringFromDate, u"9:03PM"}};
        support::TestRun run;
        const Zone here("America/New_York");
        for (const auto& [writer, text] : rows) {
            const QDateTime moment(QDate(2024, 3, 5), QTime(2, 3, 4), store::Utc);
            QCOMPARE((DateFormatting::instance().*writer)(moment), QString::fromUtf16(text));
            QVERIFY((DateFormatting::instance().*writer)(QDateTime()).isNull());
        }
    }

    void followsAChangeOfTheZone()
    {
        support::TestRun run;
        DateFormatting& formatting = DateFormatting::instance();
        const QDateTime moment(QDate(2024, 3, 5), QTime(2, 3), store::Utc);
        QStringList texts;
        for (const char* zone : {"Asia/Tokyo", "America/New_York", "UTC"}) {
            const Zone here(zone);
            texts << formatting.hoursMinutesStringFromDate(moment)
                  << utc(formatting.dateFromUnvalidatedStartedStoppedString(u"2024-03-05 9:15"_s));
        }
        QCOMPARE(texts, QStringList({u"11:03AM"_s, u"2024-03-05T00:15:00Z"_s, u"9:03PM"_s, u"2024-03-05T14:15:00Z"_s,
                                     u"2:03AM"_s, u"2024-03-05T09:15:00Z"_s}));
    }

    void servesSeveralThreads()
    {
        support::TestRun run;
        const Zone here("UTC");
        std::atomic<int> wrong = 0;
        const auto work = [&](int day) {
            const QString text = u"Fri, %1 Mar 2024 09:13:00 +0000"_s.arg(day);
            for (int i = 0; i < 500; ++i) {
                const QDateTime read = DateFormatting::instance().dateFromDatetime(text);
                wrong += read.date().day() != day;
                wrong += DateFormatting::instance().daydateStringFromDate(read) != u"2024-03-%1"_s.arg(day);
            }
        };
        std::thread other(work, 22);
        work(11);
        other.join();
        QCOMPARE(wrong, 0);
    }

    void comparesDays()
    {
        const Zone here("America/Sao_Paulo");
        const auto local = [](QDate day, QTime time) { return QDateTime(day, time).toUTC(); };
        const QDate day(2018, 11, 4);
        QVERIFY(model::sameDayAs(local(day, QTime(1, 0, 1)), local(day, QTime(23, 59, 59))));
        QVERIFY(!model::sameDayAs(local(day, QTime(23, 59, 59)), local(day.addDays(1), QTime(0, 0))));
        QVERIFY(!model::sameDayAs(QDateTime(), QDateTime()));
        QCOMPARE(utc(model::dateWithDayPrecision(local(day, QTime(18, 0)))), u"2018-11-04T03:00:00Z");
        QCOMPARE(utc(model::dateWithDayPrecision(local(day.addDays(1), QTime(18, 0)))), u"2018-11-05T02:00:00Z");
        // Stored before a journey: the clocks here leave that half hour out.
        const Zone journey("Europe/Berlin");
        QCOMPARE(utc(model::momentOf(QDateTime(QDate(2024, 3, 31), QTime(2, 30), store::Utc))),
                 u"2024-03-31T01:30:00Z");
        QVERIFY(!model::momentOf(QDateTime()).isValid());
    }

    void writesHours()
    {
        const std::pair<double, const char*> rows[] = {{0, "0:00"},       {0.25, "0:15"},      {1.5, "1:30"},
                                                       {1.9999, "1:00"},  {2.1166666, "2:07"}, {-0.5, "0:-30"},
                                                       {-1.25, "-1:-15"}, {0.008, "0:00"},     {1.0 / 120, "0:01"}};
        for (const auto& [hours, text] : rows)
            QCOMPARE(model::stringInHoursMinutesFormat(hours), QString::fromLatin1(text));
    }

    void readsHours()
    {
        const std::pair<const char*, float> rows[] = {{"1:30:99", 1.5F}, {"2:07", 2.1166666F},
                                                      {"2.5", 2.5F},     {"abc", 0},
                                                      {":30", 0.5F},     {"3:", 3},
                                                      {"2,5", 2},        {" 1.5h", 1.5F},
                                                      {"-1.5", -1.5F},   {"1e1x", 10},
                                                      {"inf", 0},        {"1e99999", 0},
                                                      {"+.5", 0.5F},     {"+-5", 0},
                                                      {"-", 0},          {"\xa0 7", 7},
                                                      {".", 0},          {"-inf", 0},
                                                      {"1e", 1},         {"5.", 5},
                                                      {"", 0},           {"0x10", 0},
                                                      {"- 1", 0}};
        for (const auto& [text, hours] : rows)
            QVERIFY2(model::numberFomStringInHoursMinutesFormat(QString::fromLatin1(text)) == hours, text);
    }

    void hoursFieldTakesDigitsAndColons()
    {
        const model::QuillonHoursFormatter formatter;
        for (const QString& partial : {u""_s, u"12:3"_s, u"::"_s, u"0123456789"_s})
            QVERIFY2(formatter.isPartialStringValid(partial), qPrintable(partial));
        for (const QString& partial : {u"1.5"_s, u"1h"_s, u"-1"_s, u"1 "_s, u"1;2"_s, u"1/2"_s, u"\u0661"_s})
            QVERIFY2(!formatter.isPartialStringValid(partial), qPrintable(partial));
        QCOMPARE(formatter.stringForObjectValue(1.5), u"1:30");
        QVERIFY(formatter.stringForObjectValue(u"1.5"_s).isNull());
        QCOMPARE(formatter.getObjectValue(u"no hours"_s), 0.0F);
    }
};

QTEST_GUILESS_MAIN(FormatsTest)
#include "FormatsTest.moc"

#include "ModelRun.h"

#include "model/DateComparisons.h"
#include "model/DateFormatting.h"
#include "model/HoursMinutes.h"
#include "model/QuillonHoursFormatter.h"
#include "store/Utc.h"

#include <QTest>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using model::DateFormatting;

using Reader = QDateTime (DateFormatting::*)(const QString&);
using Writer = QString (DateFormatting::*)(const QDateTime&);
Q_DECLARE_METATYPE(Reader)

class FormatsTest : public QObject
{
    Q_OBJECT

private slots:
    void reads_data()
    {
        QTest::addColumn<Reader>("reader");
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("moment"); // empty: refused
        const auto row = [](Reader reader, const char* zone, const char* text, const char* moment) {
            QTest::addRow("%s %s", zone, text)
                << reader << QByteArray(zone) << QString::fromUtf8(text) << QString::fromLatin1(moment);
        };
        const Reader datetime = &DateFormatting::dateFromDatetime;
        row(datetime, "Asia/Tokyo", "Tue, 5 Mar 2024 09:13:00 +0000", "2024-03-05T09:13:00Z");
        row(datetime, "Asia/Tokyo", "Tue, 05 Mar 2024 09:13:07 +0100", "2024-03-05T08:13:07Z");
        row(datetime, "UTC", "Tue, 5 Mar 2024 09:13:00 +0000 and more", "");
        row(datetime, "UTC", "Sat, 31 Feb 2024 09:13:00 +0000", "");
        row(datetime, "UTC", "Di., 5 März 2024 09:13:00 +0000", "");
        row(datetime, "UTC", "Tue, 5 Mar 2024 09:13:00", "");
        const Reader rails = &DateFormatting::dateFromRailsDatetime;
        row(rails, "America/New_York", "2024-03-05T09:15:00Z", "2024-03-05T09:15:00Z");
        row(rails, "America/New_York", "2024-03-05T09:15:00GMT", "");
        const Reader day = &DateFormatting::dateFromDaydate;
        row(day, "America/New_York", "2024-03-05", "2024-03-05T05:00:00Z");
        row(day, "America/New_York", "2024-03-05T00", "");
        row(day, "UTC", "2024-3-5", "");
        row(day, "UTC", "2024- 3-05", "");
        const Reader longDay = &DateFormatting::dateFromLongDaydate;
        row(longDay, "Asia/Tokyo", "Tue, 5 Mar 2024", "2024-03-04T15:00:00Z");
        row(longDay, "Asia/Tokyo", "5 Mar 2024", "");
        // Days that begin at one in the morning.
        row(day, "America/Sao_Paulo", "2018-11-04", "2018-11-04T03:00:00Z");
        row(longDay, "America/Sao_Paulo", "Sun, 4 Nov 2018", "2018-11-04T03:00:00Z");
        row(day, "Asia/Beirut", "2022-03-27", "2022-03-26T22:00:00Z");
        row(longDay, "Asia/Beirut", "Sun, 27 Mar 2022", "2022-03-26T22:00:00Z");
        const Reader clock = &DateFormatting::dateFromStartedStoppedString;
        row(clock, "Europe/Berlin", "2024-07-05 09:15am", "2024-07-05T07:15:00Z");
        row(clock, "Europe/Berlin", "2024-07-05 12:00am", "2024-07-04T22:00:00Z");
        row(clock, "Europe/Berlin", "2024-07-05 17:00", "");
        // A time that the spring change skips, and the later of the two that the autumn change gives.
        row(clock, "America/New_York", "2024-03-10 02:30am", "");
        row(clock, "America/New_York", "2024-11-03 01:30am", "2024-11-03T06:30:00Z");
        row(clock, "UTC", "2024-3-05 09:15am", "");
        // Typed: no later pattern may read what the change skips as another time.
        const Reader typed = &DateFormatting::dateFromUnvalidatedStartedStoppedString;
        for (const char* skipped : {"2:30AM", "2:30 a", "2:30", "230", "0230", "2:00AM", "2:59AM"})
            row(typed, "Europe/Berlin", qPrintable("2026-03-29 "_L1 + QLatin1StringView(skipped)), "");
        row(typed, "Europe/Berlin", "2026-03-29 3:00AM", "2026-03-29T01:00:00Z");
        const std::pair<const char*, const char*> times[] = {
            {"9:15AM", "09:15"}, {"9:15 am", "09:15"}, {"9:15a", "09:15"}, {"915", "09:15"},
            {"9:15", "09:15"},   {"0915", "09:15"},    {"1700", "17:00"},  {"17:00", "17:00"},
            {"13:30", "13:30"},  {"0015", "00:15"},    {"1200", "12:00"},  {"12:00", "00:00"},
            {"5:00pm", "17:00"}, {"17:00pm", "12:00"}, {"500pm", "12:00"}, {"24:00", ""},
            {"25:00", ""},       {"9:75", ""},         {"9:5", ""},        {"9", ""},
            {"9am", ""},         {"0500PM", ""},       {"noon", ""},       {"", ""},
            {"9:15 uhr", ""}};
        for (const auto& [text, time] : times) {
            row(typed, "UTC", qPrintable("2024-03-05 "_L1 + QLatin1StringView(text)),
                *time ? qPrintable("2024-03-05T"_L1 + QLatin1StringView(time) + ":00Z"_L1) : "");
            row(typed, "UTC", qPrintable("2024-02-30 "_L1 + QLatin1StringView(text)), "");
        }
        row(typed, "America/Sao_Paulo", "2018-11-04 12:30AM", "");
        row(typed, "America/Sao_Paulo", "2018-11-04 1:00AM", "2018-11-04T03:00:00Z");
    }
    void reads()
    {
        QFETCH(Reader, reader);
        QFETCH(QByteArray, zone);
        QFETCH(QString, text);
        support::TestRun run;
        const Zone here(zone.constData());
        QTEST(utc((DateFormatting::instance().*reader)(text)), "moment");
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

#include "support/InRow.h"
#include "support/ServiceRun.h"
#include "support/VerifyEach.h"

#include "model/DayEntry.h"
#include "service/Base64.h"
#include "service/QuillonMultiObjectNetworkOperation.h"
#include "service/QuillonStopIdleTimerOperation.h"
#include "settings/QuillonPreferences.h"
#include "store/Utc.h"

#include <QElapsedTimer>
#include <QTest>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using namespace service;
using support::RecordingReceiver;
using support::Reply;
using support::ServiceRun;
using Sleeps = std::vector<std::chrono::milliseconds>;

namespace {

const std::string Day = "GET /daily/1/2013?slim=1";
const QDate NewYear(2013, 1, 1);

const QString Succeeded = u"authenticationSucceeded"_s;
const QString Failed = u"authenticationFailed"_s;
const QString DayCame = u"requestDailyTimesheetDidSucceed"_s;
const QString DayFailed = u"requestDailyTimesheetDidFailWithError "_s;

/// A day sheet of 1 January 2013 with these entries.
std::string sheet(const QStringList& ids)
{
    std::string entries;
    for (const QString& id : ids)
        entries +=
            "<day_entry><id>" + id.toStdString() + "</id><spent_at>2013-01-01</spent_at><hours>1.5</hours></day_entry>";
    return "<daily><for_day>Tue, 1 Jan 2013</for_day><day_entries>" + entries + "</day_entries></daily>";
}

/// A day request whose first reply is made up.
class MadeUpReply final : public QuillonNetworkOperation
{
public:
    MadeUpReply(ServiceRun& run, HttpReply reply)
        : QuillonNetworkOperation(u"/daily/1/2013?slim=1"_s, &model::DayEntry::parseXml, run.api.userCredentials(),
                                  run.api.services()),
          m_reply(std::move(reply))
    {
        setNotificationDelegate(&run.outcomes);
        setNotificationSelector(&OutcomeReceiver::requestDailyTimesheetDidSucceed);
        setErrorNotificationSelector(&OutcomeReceiver::requestDailyTimesheetDidFailWithError);
    }

private:
    HttpReply doRequest(const HttpRequest&) override { return m_reply; }

    HttpReply m_reply;
};

/// The requests that the class is made for, which nothing in the program starts yet.
class EntriesOneByOne final : public QuillonMultiObjectNetworkOperation
{
public:
    EntriesOneByOne(ServiceRun& run, const QStringList& ids)
        : QuillonMultiObjectNetworkOperation(u"/people"_s, ids, &model::DayEntry::parseXml, run.api.userCredentials(),
                                             run.api.services())
    {
        setNotificationDelegate(&run.outcomes);
        setNotificationSelector(&OutcomeReceiver::requestUserDidSucceed);
    }
    void main() override
    {
        waitForThrottle();
        makeRequest();
        notifyComplete();
    }
};

} // namespace

class RequestOperationTest final : public QObject
{
    Q_OBJECT

private slots:
    void base64()
    {
        const QString line = u"eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4"_s;
        const std::tuple<QByteArray, bool, QString> rows[] = {
            {"", false, u""_s},
            {"a:bc\xff", false, u"YTpiY/8="_s},
            {"a:b", true, u"YTpi\n"_s},
            {QByteArray(51 + 48, 'x'), false, line + line + u"eHh4"_s},
            {QByteArray(51 + 48, 'x'), true, line + u'\n' + line + u"\neHh4\n"_s}};
        for (const auto& [data, newlines, text] : rows) {
            QCOMPARE(encodeBase64WithNewlines(data, newlines), text);
            QCOMPARE(decodeBase64WithNewlines(text, newlines), data);
            const QByteArray large(5000, '\x9d');
            QCOMPARE(decodeBase64WithNewlines(encodeBase64WithNewlines(large, newlines), newlines), large);
        }
        QCOMPARE(encodeBase64("a:b"), u"YTpi\n"_s);
        QCOMPARE(decodeBase64(u"YTpi\n"_s), "a:b");
        QCOMPARE(decodeBase64(u"no Base64!"_s), QByteArray());
    }

    void errorDocuments()
    {
        const std::pair<QByteArray, const char*> rows[] = {
            {"Not n\xc3\xb6w.", "Not n\xc3\xb6w."},
            {"Not &lt;b class=&quot;x&quot;&gt;now&lt;/b&gt;.", "Not now."},
            {"Not &amp;lt;i&amp;gt;now&amp;lt;/i&amp;gt;.", "Not now."}, // escaped twice
            {"Not &lt;b&lt;i&gt;now.", "Not now."},
            {"&lt;&gt; 3 &gt; 2 &lt; 5", "<> 3 > 2 < 5"},
            {"Not\nnow,\n   but    later", "Notnow, but later"},
            {"Q&amp;amp;A", "Q&A"},
            {"a</message><message>b</message><message>", "a"}};
        for (const auto& [message, told] : rows) {
            const auto parsed = QuillonError::parseXml("<error><message>" + message +
                                                       "</message><kind>locked</kind><kind>c</kind></error>");
            QVERIFY(parsed);
            QCOMPARE(*parsed, (Error{u"QuillonForMac"_s, 500, QString::fromUtf8(told), u"locked"_s}));
        }
        const auto another = QuillonError::parseXml("<daily><message>a</message></daily>");
        VERIFY_EACH(another, !*another);
        QVERIFY(!QuillonError::parseXml("Internal Server Error"));
    }

    void longErrorsAreReadInGoodTime()
    {
        // The most that a document may hold in one element is ten times as much.
        const QByteArray text =
            QByteArray("&lt;b&gt;x").repeated(300'000) + "&gt;" + QByteArray("&lt;").repeated(300'000);
        QElapsedTimer time;
        time.start();
        const auto parsed = QuillonError::parseXml("<error><kind>k</kind><message>" + text + "</message></error>");
        QVERIFY(time.elapsed() < 10'000);
        QVERIFY(parsed && *parsed);
        QVERIFY((*parsed)->localizedDescription == u"x"_s.repeated(300'000) + u'>' + u"<"_s.repeated(300'000));
    }

    void transportFailures()
    {
        const std::pair<QByteArray, QString> rows[] = {{"", DayFailed + "transport 56 Gone."_L1},
                                                       {"Authentication failed for API request.", Failed}};
        for (const auto& [body, told] : rows) {
            ServiceRun run;
            const int status = body.isEmpty() ? 0 : 200;
            run.api.addOperation(std::make_unique<MadeUpReply>(
                run, HttpReply{status, {}, body, Error{u"transport"_s, 56, u"Gone."_s, {}}}));
            QVERIFY(run.finish());
            QCOMPARE(run.outcomes.calls(), QStringList(told));
        }
    }

    void retryHoldsUpTheOthers()
    {
        ServiceRun run;
        run.time.blockSleeps();
        run.peer.answer(Day, {Reply{503}, Reply{200, "<daily/>"}});
        run.peer.answer("GET /people/7", {Reply{200, "<user/>"}});
        run.api.requestDailyTimesheetForDate(NewYear);
        run.api.requestUser(u"7"_s);
        QTRY_COMPARE(run.time.sleeping(), 1);
        run.time.advance(299s);
        QCOMPARE(run.time.sleeping(), 1);
        QCOMPARE(run.peer.asked().size(), 1);
        run.time.advance(1s);
        QVERIFY(run.finish());
        QCOMPARE(run.peer.asked().mid(1), QStringList({u"GET /daily/1/2013?slim=1"_s, u"GET /people/7"_s}));
        QCOMPARE(run.outcomes.calls(), QStringList({Succeeded, DayCame, Succeeded, u"requestUserDidSucceed"_s}));
    }

    void credentialsAreTakenAtTheStart()
    {
        ServiceRun run;
        run.time.blockSleeps();
        run.peer.answer(Day, {Reply{503}, Reply{200, sheet({u"1"_s})}});
        run.api.requestDailyTimesheetForDate(NewYear);
        QTRY_COMPARE(run.time.sleeping(), 1);
        run.api.userCredentials().setUrl(u"globex"_s);
        run.api.userCredentials().setPassword(u"other"_s);
        run.time.advance(300s);
        QVERIFY(run.finish());
        QCOMPARE(run.headerOfRequest(1, "Host"), run.headerOfRequest(0, "Host"));
        QCOMPARE(run.headerOfRequest(1, "Authorization"), run.headerOfRequest(0, "Authorization"));
        QCOMPARE(run.outcomes.calls(), QStringList()); // of an account that is no longer in use
        QVERIFY(run.context.fetch({"DayEntry"}).empty());
    }

    void requestsGoToTheAccountTheyAreFor()
    {
        ServiceRun run;
        run.time.blockSleeps();
        run.peer.answer(Day, {Reply{503}, Reply{200, sheet({u"1"_s})}});
        run.peer.answer("POST /daily/add", {Reply{200, "<add/>"}});
        run.api.requestDailyTimesheetForDate(NewYear);
        QTRY_COMPARE(run.time.sleeping(), 1);
        run.api.startNewTimer(run.entry(u"newEntry"_s));
        run.api.requestUser(u"7"_s);
        run.api.userCredentials().setUrl(u"globex"_s);
        run.time.advance(300s);
        QVERIFY(run.finish());
        QCOMPARE(run.peer.asked().mid(2), QStringList{u"POST /daily/add"_s});
        QCOMPARE(run.headerOfRequest(2, "Host"), run.headerOfRequest(0, "Host"));
        QCOMPARE(run.headerOfRequest(2, "Date"), "Tue, 15 Jan 2013 09:00:00 GMT"); // when it was made
        QCOMPARE(run.outcomes.calls(), QStringList());
    }

    void receiverMayGoAway()
    {
        ServiceRun run;
        run.time.blockSleeps();
        run.peer.answer("POST /daily/add", {Reply{503}, Reply{200, "<add/>"}});
        auto window = std::make_unique<RecordingReceiver>();
        run.api.startNewTimer(run.entry(u"newEntry"_s), window.get());
        QTRY_COMPARE(run.time.sleeping(), 1);
        window.reset();
        run.time.advance(300s);
        QVERIFY(run.finish());
        QCOMPARE(run.outcomes.calls(), QStringList());
        QCOMPARE(run.peer.asked().size(), 2);
    }

    void objectsOneByOne()
    {
        ServiceRun run;
        run.time.blockSleeps(false);
        for (const char* id : {"1", "2", "3"})
            run.peer.answer(std::string("GET /people/") + id, {Reply{200, sheet({QString::fromLatin1(id)})}});
        run.peer.answer("GET /people/4", {Reply{503}, Reply{200, "<daily/>", {{"X-Company-Cache-Version", "7"}}}});
        run.api.addOperation(std::make_unique<EntriesOneByOne>(run, QStringList({u"1"_s, u"2"_s, u"3"_s, u"4"_s})));
        QVERIFY(run.finish());
        QCOMPARE(run.peer.asked(), QStringList({u"GET /people/1"_s, u"GET /people/2"_s, u"GET /people/3"_s,
                                                u"GET /people/4"_s, u"GET /people/4"_s}));
        QCOMPARE(run.outcomes.calls(),
                 QStringList({Succeeded, Succeeded, Succeeded, u"gotQuillonCompanyCacheVersion 7"_s, Succeeded,
                              u"requestUserDidSucceed"_s}));
        QCOMPARE(run.time.sleeps(), Sleeps{300s});
    }

    void objectsOneByOneEndAtBadCredentials()
    {
        ServiceRun run;
        run.peer.answer("GET /people/1", {Reply{200, sheet({u"1"_s})}});
        run.peer.answer("GET /people/2", {Reply{401, "Authentication failed for API request."}});
        run.api.addOperation(std::make_unique<EntriesOneByOne>(run, QStringList({u"1"_s, u"2"_s, u"3"_s})));
        QVERIFY(run.finish());
        QCOMPARE(run.peer.asked().size(), 2);
        QCOMPARE(run.outcomes.calls(), QStringList({Succeeded, Failed, u"requestUserDidSucceed"_s}));
    }
};

QTEST_GUILESS_MAIN(RequestOperationTest)
#include "RequestOperationTest.moc"

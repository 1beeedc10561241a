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

    void headers()
    {
        ServiceRun run;
        settings::QuillonPreferences& preferences = run.api.userCredentials();
        preferences.setEmail(u"änn@example.com"_s);
        preferences.setPassword(u"p:w "_s + QString(120, u'x'));
        run.peer.answer(Day, {Reply{200, "<daily/>"}});
        run.api.requestDailyTimesheetForDate(NewYear);
        QVERIFY(run.finish());
        QCOMPARE(run.headerOfRequest(0, "Content-Type"), "application/xml");
        QCOMPARE(run.headerOfRequest(0, "Accept"), "application/xml");
        QCOMPARE(run.headerOfRequest(0, "User-Agent"), "QuillonX 4.2");
        QVERIFY(run.headerOfRequest(0, "Host").starts_with("acme.localhost:"));
        // "änn@example.com:p:w xxx…"
        QCOMPARE(QString::fromStdString(run.headerOfRequest(0, "Authorization")),
                 "Basic w6RubkBleGFtcGxlLmNvbTpwOncg"_L1 + u"eHh4"_s.repeated(40));
    }

    void outcomes()
    {
        const std::string error = "<error><kind>k</kind><message>Not now.</message></error>";
        const std::string refusal = "Authentication failed for API request.";
        const std::tuple<const char*, Reply, QStringList> rows[] = {
            {"answer", {200, "<daily/>"}, {Succeeded, DayCame}},
            {"cache version",
             {200, "<daily/>", {{"X-Company-Cache-Version", "12345678901"}}},
             {u"gotQuillonCompanyCacheVersion 12345678901"_s, Succeeded, DayCame}},
            {"error document", {500, error}, {Succeeded, DayFailed + "QuillonForMac 500 Not now."_L1, DayCame}},
            {"failure without XML", {500, "Oops"}, {Succeeded, DayFailed + "without an error"_L1, DayCame}},
            {"refused", {401, refusal}, {Failed}},
            {"refused with success",
             {200, refusal, {{"X-Company-Cache-Version", "7"}}},
             {u"gotQuillonCompanyCacheVersion 7"_s, Failed}},
            {"refused and more", {401, refusal + "\n"}, {Succeeded, DayCame}},
            {"sign-in page", {200, "<!DOCTYPE html><p>Sign in"}, {Failed}},
            {"page of a proxy",
             {407, "<!DOCTYPE html><p>Sign in"},
             {DayFailed +
              "QuillonHttpErrorDomain 97 The network's proxy asks for a name and a password that Quillon does "
              "not have."_L1}},
            {"page in a sheet", {200, "<daily><!-- <!DOCTYPE html> --></daily>"}, {Succeeded, DayCame}},
            {"page after a blank", {200, " <!DOCTYPE html>"}, {Succeeded, DayCame}},
            {"error document, not found", {404, error}, {Succeeded, DayCame}},
            {"no UTF-8", {200, "<daily>\xff</daily>"}, {Succeeded, DayCame}},
            {"cut off", {200, "<daily><day_entr"}, {Succeeded, DayCame}}};
        for (const auto& [name, reply, expected] : rows) {
            const support::InRow row(name);
            ServiceRun run;
            run.peer.answer(Day, {reply});
            run.api.requestDailyTimesheetForDate(NewYear);
            QVERIFY(run.finish());
            QCOMPARE(run.outcomes.calls(), expected);
            QCOMPARE(run.peer.asked().size(), 1);
            QCOMPARE(run.time.sleeps(), Sleeps());
        }
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

    void retriesOnceAfterFiveMinutes()
    {
        const Reply good{200, "<daily/>"};
        const QStringList fine{Succeeded, DayCame};
        const QString lost = DayFailed + "QuillonHttpErrorDomain 52 The connection to the service was lost."_L1;
        const std::tuple<int, Reply, QStringList, bool> rows[] = {{502, good, fine, true},
                                                                  {503, good, fine, true},
                                                                  {503, Reply{503}, fine, true},
                                                                  {503, Reply::closed(), {lost}, true},
                                                                  {504, good, fine, false}};
        for (const auto& [first, second, expected, waits] : rows) {
            ServiceRun run;
            run.peer.answer("POST /hc/day_entry/12", {Reply{first}, second});
            // A request with a body, which must be there again in the second attempt.
            auto operation = std::make_unique<QuillonStopIdleTimerOperation>(
                run.entry(u"12"_s), QDateTime(), run.api.userCredentials(), run.api.services());
            operation->setNotificationDelegate(&run.outcomes);
            operation->setNotificationSelector(&OutcomeReceiver::requestDailyTimesheetDidSucceed);
            operation->setErrorNotificationSelector(&OutcomeReceiver::requestDailyTimesheetDidFailWithError);
            run.api.addOperation(std::move(operation));
            QVERIFY(run.finish());
            QCOMPARE(run.outcomes.calls(), expected);
            QCOMPARE(run.time.sleeps(), waits ? Sleeps{300s} : Sleeps{});
            QCOMPARE(run.peer.asked().size(), waits ? 2 : 1);
            if (waits) {
                QCOMPARE(run.bodyOfRequest(1), run.bodyOfRequest(0));
                QVERIFY(run.bodyOfRequest(1).starts_with("<?xml"));
            }
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

    void mergeComesBeforeSuccess()
    {
        ServiceRun run;
        const store::Ref<model::DayEntry> entry(&run.entry(u"1"_s));
        QHash<QString, QString> seenAt;
        run.outcomes.whenCalled = [&](const QString& call) {
            seenAt[call] = !entry ? u"gone"_s : QString::number(entry.get()->hours().value_or(0));
        };
        run.peer.answer(Day, {Reply{200, sheet({u"1"_s, u"2"_s})}, Reply{200, sheet({u"2"_s})}});
        run.api.requestDailyTimesheetForDate(NewYear);
        QVERIFY(run.finish());
        QCOMPARE(seenAt.value(Succeeded), u"0"_s);
        QCOMPARE(seenAt.value(DayCame), u"1.5"_s);
        QCOMPARE(run.outcomes.everyCall().last(), u"allRequestsProcessed"_s);

        // What is gone from the sheet is gone here, too.
        run.api.requestDailyTimesheetForDate(NewYear);
        QVERIFY(run.finish());
        QCOMPARE(seenAt.value(Succeeded), u"1.5"_s);
        QCOMPARE(seenAt.value(DayCame), u"gone"_s);
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

    void account()
    {
        ServiceRun run;
        run.peer.answer("GET /account/who_am_i", {Reply{200, "<hash><user><id>7</id><email>ann@example.com</email>"
                                                             "<timezone>London</timezone></user></hash>"},
                                                  Reply{200, "no XML"}});
        std::size_t companiesThen = 0;
        run.outcomes.whenCalled = [&](const QString& call) {
            if (call.startsWith("gotQuillonCompany "_L1))
                companiesThen = run.context.fetch({"Company"}).size();
        };
        run.api.requestCompany();
        QVERIFY(run.finish());
        QCOMPARE(run.outcomes.calls(), QStringList({Succeeded, u"gotQuillonCompany acme"_s}));
        QCOMPARE(companiesThen, 1U);
        QCOMPARE(run.context.fetch({"Company"}).at(0)->string("timezone"), u"London"_s);

        run.outcomes.forgetCalls();
        run.api.requestCompany();
        QVERIFY(run.finish());
        QCOMPARE(run.outcomes.calls(), QStringList({Succeeded, u"gotQuillonCompany acme"_s}));
        QCOMPARE(run.context.fetch({"Company"}).at(0)->string("timezone"), u"London"_s);
    }

    void cacheVersionProbe()
    {
        const support::Headers version{{"x-company-cache-version", "7"}};
        const std::pair<Reply, QStringList> rows[] = {
            {{200, "<daily/>", version}, {Succeeded, u"gotQuillonCompanyCacheVersion 7"_s}},
            {{200, "<daily/>"}, {Succeeded}},
            {{200, "<daily>", version}, {Succeeded}},
            {{401, "Authentication failed for API request.", version}, {Failed}},
            {{500, "Oops", version}, {Succeeded}}, // no failure is told
            {Reply::closed(), {}}};
        for (const auto& [reply, expected] : rows) {
            ServiceRun run;
            run.peer.answer("GET /daily?slim=1", {reply});
            run.api.requestCompanyCacheVersion();
            QVERIFY(run.finish());
            QCOMPARE(run.outcomes.calls(), expected);
            QVERIFY(run.context.fetch({"DayEntry"}).empty());
        }
    }

    void staleIdleCorrection()
    {
        const QString success = u"correctIdleTimerDidSucceed"_s;
        const QString failure =
            u"correctIdleTimerDidFailWithError QuillonForMac 409 The entry was updated while Quillon "
            "for Mac was idle. It looks like your idle time does not need to be removed after all."_s;
        const std::pair<int, QStringList> rows[] = {
            {200, {Succeeded, success}}, {409, {failure, Succeeded, success}}, {410, {failure, Succeeded, success}}};
        for (const auto& [status, expected] : rows) {
            ServiceRun run;
            const std::string fresh = "<day_entry><id>12</id><hours>3.25</hours></day_entry>";
            run.peer.answer("POST /hc/day_entry/12", {Reply{status, fresh, {{"X-Company-Cache-Version", "7"}}}});
            model::DayEntry& entry = run.entry(u"12"_s);
            run.api.correctIdleTimer(entry, 60, QDateTime(QDate(2013, 1, 15), QTime(8, 0), store::Utc));
            QVERIFY(run.finish());
            QCOMPARE(run.outcomes.calls(), expected);
            QVERIFY(run.bodyOfRequest(0).find("<updated_at>Tue, 15 Jan 2013 08:00:00 +0000</updated_at>") !=
                    std::string::npos);
        }
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

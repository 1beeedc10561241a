#include "support/ServiceRun.h"
#include "support/Transcript.h"

#include "model/Company.h"
#include "model/DayEntry.h"
#include "settings/QuillonPreferences.h"
#include "store/Utc.h"

#include <QTest>

using namespace Qt::StringLiterals;
using support::Reply;
using support::ServiceRun;

namespace {

const std::string Refusal = "Authentication failed for API request.";
const std::string Error = "<error><kind>k</kind><message>Not now.</message></error>";
const std::string Entry = "<day_entry><id>12</id><spent_at>2013-01-01</spent_at><hours>3.25</hours></day_entry>";
const Reply Sheet{200,
                  "<daily><for_day>Tue, 1 Jan 2013</for_day><day_entries>" + Entry +
                      "<day_entry><id>13</id><spent_at>2013-01-01</spent_at><hours>1.5</hours></day_entry>"
                      "</day_entries></daily>",
                  {{"X-Company-Cache-Version", "12345678901"}}};

/// What comes back. A second reply is for whoever asks once more.
const std::pair<const char*, std::vector<Reply>> Replies[] = {
    {"a sheet", {Sheet}},
    {"an entry", {{200, Entry}}},
    {"an account",
     {{200, "<hash><user><id>7</id><email>b@example.com</email><timezone>Rome</timezone></user></hash>"}}},
    {"a person", {{200, "<user><id>7</id><first-name>Ann</first-name></user>"}}},
    {"no XML", {{200, "no XML", {{"x-company-cache-version", "7x"}}}}},
    {"no UTF-8", {{200, "<daily>\xff</daily>"}}},
    {"cut off", {{200, "<daily><day_entr"}}},
    {"less than announced", {Reply::cut(Sheet.body), Sheet}},
    {"refused", {{401, Refusal, {{"X-Company-Cache-Version", "7"}}}}},
    {"refused with success", {{200, Refusal}}},
    {"refused and more", {{401, Refusal + "\n"}}},
    {"sign-in page", {{200, "<!DOCTYPE html><p>Sign in"}}},
    {"page after a blank", {{200, " <!DOCTYPE html>"}}},
    {"page in a sheet", {{200, "<daily><!-- <!DOCTYPE html> --></daily>"}}},
    {"page of a proxy", {{407, "<!DOCTYPE html><p>Sign in"}}},
    {"elsewhere", {Reply::redirect("/elsewhere"), Sheet}},
    {"error", {{500, Error}}},
    {"failure without XML", {{500, "Oops", {{"X-Company-Cache-Version", "7"}}}}},
    {"error, not found", {{404, Error}}},
    {"conflict", {{409, Entry, {{"X-Company-Cache-Version", "7"}}}}},
    {"gone", {{410, Entry}}},
    {"lost", {Reply::closed(), Sheet}},
    {"bad gateway", {{502}, Sheet}},
    {"busy", {{503}, Sheet}},
    {"busy twice", {{503}, {503}, Sheet}},
    {"busy, then lost", {{503}, Reply::closed(), Sheet}},
    {"too late for a gateway", {{504}, Sheet}}};

/// A signed-in program with an entry of that day, and what it hears.
struct Life
{
    explicit Life(const std::vector<Reply>& replies)
    {
        run.peer.fate = [&replies, this](const support::Request& request) {
            if (request.target == "/people/0")
                return Reply{200, "<leaves-a-connection-open/>"};
            sent << described(request); // in the peer's thread, which has nothing to do once it is read
            return sent.size() <= qsizetype(replies.size()) ? replies[sent.size() - 1] : Sheet;
        };
        settings::QuillonPreferences& preferences = run.api.userCredentials();
        preferences.setEmail(u"änn@example.com"_s);
        preferences.setPassword(u"p:w "_s + QString(120, u'x'));
        run.api.requestUser(u"0"_s);
        entry.setSpentAt(QDate(2013, 1, 1).startOfDay());
        entry.setStartedAt(QDateTime(QDate(2013, 1, 1), QTime(9, 5)));
        entry.setHours(2);
        entry.setNotes(u"R&D <3"_s);
        entry.company()->setValue("timestampTimers", true);
        static_cast<void>(run.context.save());
        run.outcomes.whenCalled = [this](const QString& call) { tell(call); };
        window.whenCalled = [this](const QString& call) { tell(u"to the window: "_s + call); };
    }
    /// What has not been merged is not seen.
    void tell(const QString& line)
    {
        lines << u"  "_s + line;
        QStringList state;
        for (const store::Object* each : run.context.fetchStanding({"DayEntry", {}, {{"idString"}}}))
            state << each->string("idString") + u' ' + QString::number(each->number("hours"));
        for (const store::Object* each : run.context.fetchStanding({"User", {}, {{"idString"}}}))
            state << each->string("idString") + u' ' + each->string("firstName") + u' ' + each->string("email");
        for (const store::Object* each : run.context.fetchStanding({"Company", {}, {}}))
            state << each->string("subdomain") + u' ' + each->string("timezone");
        if (std::exchange(stored, state.join(u", "_s)) != state.join(u", "_s))
            lines << u"    stored: "_s + stored;
    }
    service::QuillonApi::Ended ended()
    {
        return [this](const service::Result& result) {
            tell(
                u"ended: %1 %2"_s.arg(result.succeeded).arg(result.error ? result.error->localizedDescription : u""_s));
        };
    }
    static QString described(const support::Request& request)
    {
        QStringList sent{QString::fromStdString(request.method + ' ' + request.target)};
        for (const auto& [name, value] : request.headers)
            sent << QString::fromStdString(name + ": " + (name == "Host" ? value.substr(0, value.find(':')) : value));
        return sent.join(u"\n  "_s) + u'\n' + QString::fromStdString(request.body);
    }

    QStringList sent;
    ServiceRun run;
    support::RecordingReceiver window;
    model::DayEntry& entry = run.entry(u"12"_s);
    QStringList lines;
    QString stored;
};

} // namespace

/// What each request sends, and what comes of every reply.
class RequestsTest final : public QObject
{
    Q_OBJECT

private slots:
    void everyRequest()
    {
        const auto quietly = service::QuillonApi::Failure::TellCaller;
        const std::pair<const char*, std::function<void(Life&, service::QuillonApi&)>> requests[] = {
            {"company", [](auto&, auto& api) { api.requestCompany(); }},
            {"cache version", [](auto&, auto& api) { api.requestCompanyCacheVersion(); }},
            {"days",
             [](auto& life, auto& api) {
                 api.requestDailyTimesheetForDate({2013, 1, 1}, false, life.ended());
                 api.requestDailyTimesheetForDate({2012, 12, 31}); // of a leap year
                 api.requestDailyTimesheetForDate({2013, 3, 1}, true);
             }},
            {"person", [](auto&, auto& api) { api.requestUser(u"7"_s); }},
            {"new timer", [](auto& life, auto& api) { api.startNewTimer(life.entry, life.ended()); }},
            {"new timer of a caller",
             [=](auto& life, auto& api) { api.startNewTimer(life.entry, life.ended(), quietly); }},
            {"new timer of a window", [](auto& life, auto& api) { api.startNewTimer(life.entry, &life.window); }},
            {"toggle", [](auto& life, auto& api) { api.toggleTimer(life.entry, life.ended()); }},
            {"toggle of a caller", [=](auto& life, auto& api) { api.toggleTimer(life.entry, life.ended(), quietly); }},
            {"update", [](auto& life, auto& api) { api.updateTimer(life.entry, life.ended()); }},
            {"update of a caller", [=](auto& life, auto& api) { api.updateTimer(life.entry, life.ended(), quietly); }},
            {"delete", [](auto& life, auto& api) { api.deleteTimer(life.entry); }},
            {"idle time",
             [](auto& life, auto& api) {
                 api.correctIdleTimer(life.entry, 2700, QDateTime({2013, 1, 15}, QTime(8, 0), store::Utc));
             }},
            {"new credentials",
             [](auto& life, auto& api) { api.authenticateNewCredentialsAndNotify(&life.window, life.ended()); }}};
        QStringList lines;
        for (const auto& [name, request] : requests) {
            QStringList usual;
            std::vector<std::pair<QString, QStringList>> outcomes; // each with the replies that lead to it
            for (const auto& [what, replies] : Replies) {
                Life life(replies);
                QVERIFY(life.run.finish());
                life.tell({});
                life.lines.clear();
                request(life, life.run.api);
                life.tell(u"at once"_s);
                QVERIFY(life.run.finish());
                for (const auto& slept : life.run.time.sleeps())
                    life.tell(u"waited %1 s"_s.arg(slept.count() / 1000));
                if (usual.isEmpty())
                    lines << u"== "_s + QLatin1StringView(name) << (usual = life.sent);
                if (life.sent != usual)
                    life.lines = life.sent + life.lines;
                const QString outcome = life.lines.join(u'\n');
                auto same = std::ranges::find(outcomes, outcome, [](const auto& each) { return each.first; });
                if (same == outcomes.end())
                    same = outcomes.insert(same, {outcome, {}});
                same->second << QLatin1StringView(what);
            }
            for (const auto& [outcome, replies] : outcomes)
                lines << u"-- "_s + replies.join(u"; "_s) << outcome;
        }
        const QStringList found = support::differences(QFINDTESTDATA("requests.txt"), lines);
        QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(RequestsTest)
#include "RequestsTest.moc"

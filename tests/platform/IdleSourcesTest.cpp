#include "platform/IdleSources.h"
#include "support/InRow.h"
#include "support/ManualTimeSource.h"

#include <QTest>

using namespace std::chrono_literals;
using platform::IdleSources;
using Duration = platform::TimeSource::Duration;
using Idle = std::optional<Duration>;
using Trust = IdleSources::Trust;

namespace {

/// What a source says, and how long the machine was awake and asleep before.
struct Step
{
    Duration awake;
    Duration asleep;
    Idle said;
    Idle believed;
};
using Steps = std::vector<Step>;

constexpr Idle Nothing;

struct Script final : platform::SystemIdle
{
    explicit Script(const Idle& said) : said(said) {}
    std::optional<std::chrono::milliseconds> idleTime() override
    {
        ++asked;
        return said;
    }
    const Idle& said;
    int asked = 0;
};

} // namespace

class IdleSourcesTest final : public QObject
{
    Q_OBJECT

private slots:
    void answers()
    {
        const std::tuple<const char*, Steps, bool> rows[] = {
            {"passes with time, begins anew", {{0s, 0s, 10s, 10s}, {15s, 0s, 25s, 25s}, {15s, 0s, 3s, 3s}}, false},
            {"cannot be measured for a while", {{0s, 0s, 60s, 60s}, {15s, 0s, {}, {}}, {15s, 0s, 90s, 90s}}, false},
            {"negative", {{0s, 0s, -1ms, {}}, {15s, 0s, -1ms, {}}}, false},
            {"longer than the machine is up", {{0s, 0s, 25h, {}}, {15s, 0s, 25h + 15s, {}}}, false},
            {"as long as the machine is up", {{0s, 0s, 24h, 24h}}, false},
            {"jumps ahead", {{0s, 0s, 10s, 10s}, {15s, 0s, 700s, {}}}, false},
            {"goes back", {{0s, 0s, 600s, 600s}, {15s, 0s, 500s, {}}}, false},
            {"nonsense, until it has been seen to pass",
             {{0s, 0s, 600s, 600s}, {15s, 0s, 500s, {}}, {15s, 0s, 3s, {}}, {15s, 0s, 18s, 18s}, {15s, 0s, 2s, 2s}},
             false},
            {"machine asleep, source stands still",
             {{0s, 0s, 5s, 5s}, {15s, 1h, 20s, 1h + 20s}, {15s, 0s, 35s, 1h + 35s}, {15s, 2h, 50s, 3h + 50s}},
             false},
            {"machine asleep, source goes on", {{0s, 0s, 5s, 5s}, {15s, 1h, 1h + 20s, 1h + 20s}}, false},
            {"somebody woke it", {{0s, 0s, 5s, 5s}, {15s, 1h, 4s, 4s}, {15s, 0s, 19s, 19s}}, false},
            {"doubted, counts milliseconds",
             {{0s, 0s, 2s, {}}, {15s, 0s, 4s, {}}, {15s, 0s, 19s, 19s}, {15s, 0s, 1s, 1s}},
             true},
            {"doubted, counts seconds", {{0s, 0s, 15ms, {}}, {15s, 0s, 30ms, {}}, {15s, 0s, 45ms, {}}}, true},
            {"doubted, always nought", {{0s, 0s, 0ms, {}}, {15s, 0s, 0ms, {}}, {15s, 0s, 0ms, {}}}, true}};
        for (const auto& [name, steps, doubted] : rows) {
            const support::InRow row(name);
            support::ManualTimeSource time;
            Idle said;
            std::vector<IdleSources::Source> sources;
            sources.push_back({std::make_unique<Script>(said), doubted ? Trust::Doubted : Trust::Believed});
            IdleSources idle(time, std::move(sources));
            int number = 0;
            for (const Step& step : steps) {
                time.advance(step.awake);
                time.suspend(step.asleep);
                // A clock that is put right has nothing to do with it.
                time.setNow(time.now() - 8h);
                said = step.said;
                const Idle answer = idle.idleTime();
                ++number;
                QVERIFY2(answer == step.believed,
                         qPrintable(QStringLiteral("step %1: %2 ms").arg(number).arg(answer ? answer->count() : -1)));
            }
        }
    }

    void chooses()
    {
        support::ManualTimeSource time;
        Idle best = 10s;
        Idle next = 20s;
        std::vector<IdleSources::Source> sources;
        sources.push_back({std::make_unique<Script>(best)});
        sources.push_back({std::make_unique<Script>(next)});
        auto& last = static_cast<Script&>(*sources.back().adapter);
        IdleSources idle(time, std::move(sources));
        QCOMPARE(idle.idleTime(), Idle(10s));
        QCOMPARE(last.asked, 0);
        best = Nothing;
        QCOMPARE(idle.idleTime(), Idle(20s));
        next = -5s;
        QCOMPARE(idle.idleTime(), Nothing);
        best = 10s;
        QCOMPARE(idle.idleTime(), Idle(10s));
    }
};

QTEST_GUILESS_MAIN(IdleSourcesTest)
#include "IdleSourcesTest.moc"

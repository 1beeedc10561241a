#pragma once

#include "app/BuiltInService.h"
#include "preferences/PreferencesOwner.h"

#include <QObject>

#include <thread>

namespace app {

/// Time kept on this computer: starts the built-in service, signs the program in to it, ends it, remembers that the
/// person chose it, and reports problems. Main thread only.
///
/// While the service runs, addresses of its pages that the program opens in the browser are signed in.
class TimeHere final : public QObject, public preferences::TimeHereOwner
{
    Q_OBJECT
public:
    /// `maker` makes the service for each start. Empty: this build has none.
    explicit TimeHere(BuiltInService::Maker maker);
    ~TimeHere() override;

    bool canKeepTimeHere() const override { return static_cast<bool>(m_maker); }
    /// Whether the person chose it, in an earlier run or this one.
    static bool wasChosen();
    bool isRemembered() const { return canKeepTimeHere() && wasChosen(); }
    /// For the start of the program: nobody is signed in until `done` is called, later, nor if it gets an error, a
    /// sentence for people.
    void startUp(std::function<void(const QString& failure)> done);
    void keepTimeHere(std::function<void(bool kept)> done) override;
    void keepTimeElsewhere() override;
    QString copiesInWords() const override;
    /// Ends the service, if it runs.
    void end();

    static QString startFailedTitle();
    static void showStartFailed(const QString& failure);

signals:
    /// The person has chosen it, and it runs.
    void kept();

private:
    void start(std::function<void(const QString& failure)> done);
    void signIn(const BuiltInService::Account& account, const QString& password);
    static void showFileTrouble(const QString& sentence);

    const BuiltInService::Maker m_maker;
    std::unique_ptr<BuiltInService> m_service;
    std::jthread m_starting; ///< last: joined before the service goes
};

} // namespace app

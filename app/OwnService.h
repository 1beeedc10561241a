#pragma once

#include "app/EmbeddedService.h"

#include <QObject>

#include <functional>
#include <memory>
#include <thread>

namespace app {

/// The service within the program, in a run: starts it, signs the program in to it, and ends it. Main thread only.
///
/// While it runs, addresses of its pages that the program has the desktop open are signed in.
class OwnService final : public QObject
{
    Q_OBJECT
public:
    using Maker = std::function<std::unique_ptr<EmbeddedService>()>;

    /// `maker` makes one for each start. Empty: there is no such service. `fileTrouble` is told later, on this thread.
    OwnService(Maker maker, EmbeddedService::FileTrouble fileTrouble);
    ~OwnService() override;

    bool exists() const { return static_cast<bool>(m_maker); }

    /// `done` comes later: with an empty text when the program is signed in, else with a sentence for people. A start
    /// that is under way is not begun again.
    void start(std::function<void(const QString& failure)> done);
    void end();

private:
    void signIn(const EmbeddedService::Account& account, const QString& password);

    const Maker m_maker;
    const EmbeddedService::FileTrouble m_fileTrouble;
    std::unique_ptr<EmbeddedService> m_service;
    std::jthread m_starting; ///< last: joined before the service goes
};

} // namespace app

#pragma once

#include "../timesheet/TimesheetRun.h"

#include "app/SessionBus.h"
#include "support/Described.h"

#include <QMap>

#include <span>

/// The program in some state, and the window that is used then.
struct Scene
{
    std::unique_ptr<AppRun> run;
    QPointer<QWidget> window;
};

/// The states in which every control, key and command is tried, by name.
struct NamedScene
{
    const char* name;
    void (*make)(Scene&);
};
std::span<const NamedScene> scenes();

/// What somebody does has done, a line for each thing that is other than before: what was asked of the service and the
/// desktop, what was written and told, and what can be seen.
class Outcome
{
public:
    /// Before it is done. The scene stays until `lines`.
    explicit Outcome(Scene& scene);
    /// Once the service has answered.
    QStringList lines();

private:
    using State = QMap<QString, QStringList>; ///< by window, or by what else it is of

    State state() const;
    static QString focus();

    AppRun& m_run;
    QObject m_onBus;
    const app::SessionBus m_bus;
    const State m_before;
    const QString m_focus;
};

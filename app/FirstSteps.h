#pragma once

#include "platform/StatusItem.h"
#include "platform/TimeSource.h"

#include <QObject>

#include <memory>

namespace skin {
class Callout;
struct Hint;
} // namespace skin

namespace app {

class WrenfoldMenulet;

/// Shows a new person where the hours are: beside the status item, or in the timesheet where the item's position is
/// unknown. The hint stays until dismissed, even across starts. Main thread only.
class FirstSteps final : public QObject
{
    Q_OBJECT
public:
    /// `menulet` outlives this.
    explicit FirstSteps(WrenfoldMenulet& menulet);
    ~FirstSteps() override;

    void show();
    /// Shows them, unless they are shown or have been dismissed.
    void showOnce();
    void hide();
    bool areShown() const { return m_timer != nullptr; }

private:
    void lookEvery(std::chrono::milliseconds interval);
    void place();
    skin::Hint hint(const platform::StatusItem::Place& place);
    void finish();

    WrenfoldMenulet& m_menulet;
    platform::StatusItem::Place m_place; ///< as it was found last
    std::unique_ptr<skin::Callout> m_callout;
    bool m_inTimesheet = false;
    std::unique_ptr<platform::TimeSource::Timer> m_timer; ///< while they are shown
    int m_looks = 0;                                      ///< since the timer's start
};

} // namespace app

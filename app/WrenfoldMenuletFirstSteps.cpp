// Time kept on this computer.

#include "app/WrenfoldMenulet.h"

#include "platform/Run.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"

namespace app {

using platform::environment;

namespace {

void remember(QLatin1StringView key, bool value)
{
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setBool(key, value);
    // Where it cannot be written it holds for this run.
    static_cast<void>(defaults.synchronize());
}

} // namespace

bool WrenfoldMenulet::remembersToKeepTimeHere() const
{
    return canKeepTimeHere() &&
           settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonKeepTimeHereKey);
}

void WrenfoldMenulet::startOwnService(std::function<void(const QString&)> done)
{
    settings::QuillonPreferences::sharedPreferences().keepTimeHere({});
    m_ownService.start(std::move(done));
}

void WrenfoldMenulet::keepTimeHere(std::function<void(bool)> done)
{
    m_ownService.start([this, done = std::move(done)](const QString& failure) {
        if (!failure.isEmpty()) {
            tellOwnServiceFailed(failure);
            done(false);
            return;
        }
        remember(settings::QuillonKeepTimeHereKey, true);
        done(true);
        // It opens by itself when the first day is there, and never again.
        if (m_timesheetController)
            showTimesheetWindow(this);
    });
}

void WrenfoldMenulet::keepTimeElsewhere()
{
    m_userPreferences->keepTimeElsewhere();
    remember(settings::QuillonKeepTimeHereKey, false);
}

QString WrenfoldMenulet::ownServiceFailedTitle()
{
    return tr("The Built-in Service Could Not Be Started");
}

void WrenfoldMenulet::tellOwnServiceFailed(const QString& failure)
{
    environment().alerts().show({ownServiceFailedTitle(), failure, {tr("OK")}});
}

} // namespace app

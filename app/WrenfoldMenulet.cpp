#include "app/WrenfoldMenulet.h"

#include "app/FirstSteps.h"
#include "app/StatusMenu.h"
#include "editing/NewTimerController.h"
#include "model/Company.h"
#include "model/DataModel.h"
#include "model/HoursClock.h"
#include "platform/Desktop.h"
#include "platform/Paths.h"
#include "platform/Run.h"
#include "platform/StatusItem.h"
#include "platform/UpdateFeed.h"
#include "preferences/PreferenceController.h"
#include "service/QuillonApi.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/AboutController.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/StatusTile.h"
#include "store/Coordinator.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

namespace app {

using namespace Qt::StringLiterals;

using platform::environment;

namespace {

constexpr int UpdateCheckSeconds = 3600;

/// Empty without a folder.
QString storeIn(const QString& folder)
{
    return folder.isEmpty() ? QString() : folder + u"/QuillonX.sqlite"_s;
}

} // namespace

WrenfoldMenulet::WrenfoldMenulet(BuiltInService::Maker builtInService)
    : m_timeHere(std::move(builtInService)), m_bookings([this] { return accountState(); }),
      m_firstSteps(std::make_unique<FirstSteps>(*this))
{
    model::Host::set(this);
}

WrenfoldMenulet::~WrenfoldMenulet()
{
    // The worker uses this object for the store; it ends first.
    if (m_api)
        m_api->stop();
    model::Host::set(nullptr);
    settings::HotKeyManager::instance().setTarget(nullptr);

    m_firstSteps.reset();
    m_idleTimer.reset();
    m_updateTimer.reset();
    m_firstAnswer.reset();
    model::HoursClock::instance().watch(*this, {});
    setCompany(nullptr);
    m_aboutController.reset();
    m_preferenceController.reset();
    m_timesheetController.reset();
    m_preparedTimesheet.reset();
    m_addTimerController.reset();
    if (m_statusItem) {
        m_statusItem->setView(nullptr);
        m_statusItem->setStandIn({});
    }
    m_view.reset();
    m_menu.reset();
    m_managedObjectContext.reset();
    m_persistentStoreCoordinator.reset();
}

void WrenfoldMenulet::applicationWillFinishLaunching()
{
    if (settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonHideFromDockKey)) {
        environment().desktop().setShownInTaskBar(false);
        m_showingInDock = false;
        return;
    }
    // There is no window yet that could be brought to the front.
    environment().desktop().setShownInTaskBar(true);
    m_showingInDock = true;
}

bool WrenfoldMenulet::hasStore()
{
    return QFileInfo::exists(storeIn(applicationSupportFolder()));
}

void WrenfoldMenulet::showStatusItem()
{
    if (m_view)
        return;
    settings::QuillonPreferences::setupDefaults();
    m_userPreferences = &settings::QuillonPreferences::sharedPreferences();
    m_clearingCompanyData = true;
    m_api = &service::QuillonApi::sharedApi();
    m_api->setDelegate(this);

    m_statusItem = &environment().statusItem();
    const float width = static_cast<float>(skin::QuillonStatusItemView::computeWidthForHours(u"-:--"_s));
    const float height = static_cast<float>(m_statusItem->thickness());
    m_view = std::make_unique<skin::QuillonStatusItemView>(QRectF(0, 0, width, height), *this);
    m_view->setOffline(false);
    m_statusItem->setFloating(
        settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonFloatingStatusItemKey));
    m_statusItem->setLength(width);
    m_statusItem->setView(m_view.get());
    m_statusItem->setEnabled(true);
    m_statusItem->setToolTip(tr("Wrenfold"));
}

void WrenfoldMenulet::awakeFromNib()
{
    showStatusItem();
    m_menu = std::make_unique<StatusMenu>();
    m_view->setStatusMenu(m_menu.get());
    initializeQuillonData();
    wire();
    m_statusItem->setStandIn({m_menu.get(), [this] { toggleStatusItemMenu(); },
                              [this] { toggleCurrentTimer(m_view.get()); }, skin::statusTile});
    setupReachabilityTarget();
    if (m_userPreferences->credentials().url.isEmpty()) {
        authenticationFailed();
        if (!m_inBackground)
            showPreferencePanel(this);
    }
    environment().updateFeed().setCheckIntervalSeconds(UpdateCheckSeconds);
    environment().updateFeed().checkInBackground();
    environment().hotKeys().setMayAsk(false); // before anybody is signed in they would be of no use
    settings::HotKeyManager::instance().setTarget(this);
    settings::HotKeyManager::instance().setupHotKeys();
    updateKeyEquivalents();
    setupIdleTimer();
    QMetaObject::invokeMethod(this, &WrenfoldMenulet::prepareTimesheet, Qt::QueuedConnection);
}

void WrenfoldMenulet::wire()
{
    connect(m_menu.get(), &QMenu::aboutToHide, this, &WrenfoldMenulet::menuDidClose);
    connect(m_userPreferences, &settings::QuillonPreferences::preferencesChanged, this,
            &WrenfoldMenulet::preferencesChanged);
    connect(m_userPreferences, &settings::QuillonPreferences::passwordArrived, this,
            &WrenfoldMenulet::initializeQuillonData);
    connect(this, &WrenfoldMenulet::quillonForMacNetworkNotReachable, this, &WrenfoldMenulet::networkUnReachable);
    connect(this, &WrenfoldMenulet::quillonForMacNetworkReachable, this, &WrenfoldMenulet::networkReachable);
    connect(&model::HoursClock::instance(), &model::HoursClock::changed, this, &WrenfoldMenulet::hoursDidChange);
    connect(&m_timeHere, &TimeHere::kept, this, [this] {
        // It opens by itself when the first day has arrived, and never again.
        if (m_timesheetController)
            showTimesheetWindow(this);
    });

    connect(this, &WrenfoldMenulet::statusChanged, &m_bookings, &booking::Bookings::stateChanged);
    for (const QAction* item : m_menu->continueMenuItems)
        connect(item, &QAction::triggered, this, [this, item] { continueBooking(item->data().toString()); });

    const auto action = [this](QAction* item, void (WrenfoldMenulet::*method)(QObject*)) {
        connect(item, &QAction::triggered, this, [this, item, method] {
            // Hosts and screen readers may still have the menu as it was.
            if (loggedOut() && m_menu->needsAccount(item))
                showPreferencePanel(item);
            else
                (this->*method)(item);
        });
    };
    action(m_menu->toggleCurrentTimerMenuItem, &WrenfoldMenulet::toggleCurrentTimer);
    action(m_menu->newTimerMenuItem, &WrenfoldMenulet::showNewTimerWindow);
    action(m_menu->timesheetMenuItem, &WrenfoldMenulet::toggleTimesheetWindow);
    action(m_menu->showElsewhereMenuItem, &WrenfoldMenulet::showTimerElsewhere);
    action(m_menu->stopElsewhereMenuItem, &WrenfoldMenulet::stopTimerElsewhere);
    action(m_menu->openInBrowserMenuItem, &WrenfoldMenulet::openQuillonInBrowser);
    action(m_menu->manageProjectsMenuItem, &WrenfoldMenulet::manageProjects);
    action(m_menu->manageTasksMenuItem, &WrenfoldMenulet::manageTasks);
    action(m_menu->preferencesMenuItem, &WrenfoldMenulet::showPreferencePanel);
    action(m_menu->checkForUpdatesMenuItem, &WrenfoldMenulet::checkForUpdates);
    action(m_menu->helpMenuItem, &WrenfoldMenulet::showHelp);
    action(m_menu->firstStepsMenuItem, &WrenfoldMenulet::showFirstSteps);
    action(m_menu->aboutMenuItem, &WrenfoldMenulet::showAboutWindow);
    action(m_menu->quitMenuItem, &WrenfoldMenulet::quitQuilonForMac);
}

bool WrenfoldMenulet::applicationShouldHandleReopen(bool /*hasVisibleWindows*/)
{
    if (m_statusItem)
        m_statusItem->present();
    showTimesheetWindow(this);
    return false;
}

const store::Model* WrenfoldMenulet::managedObjectModel()
{
    if (!m_managedObjectModel)
        m_managedObjectModel = std::make_unique<const store::Model>(model::loadModel());
    return m_managedObjectModel.get();
}

std::shared_ptr<store::Coordinator> WrenfoldMenulet::persistentStoreCoordinator()
{
    const std::lock_guard lock(m_storeMutex);
    if (!m_persistentStoreCoordinator) {
        auto coordinator = std::make_shared<store::Coordinator>(*managedObjectModel(), model::objectFactories());
        coordinator->setDidLose([self = QPointer(this)] {
            platform::Run::current().postToMain([self] {
                if (self)
                    self->fetchEverything();
            });
        });
        // An unusable store is reported only by `--check`: the program works from memory, and everything is fetched
        // again at the next start.
        static_cast<void>(coordinator->addStore(storeIn(directoryForDataStore())));
        m_persistentStoreCoordinator = std::move(coordinator);
    }
    return m_persistentStoreCoordinator;
}

store::Context* WrenfoldMenulet::managedObjectContext()
{
    if (!m_managedObjectContext) {
        if (auto coordinator = persistentStoreCoordinator())
            m_managedObjectContext =
                std::make_unique<store::Context>(std::move(coordinator), store::MergePolicy::Overwrite);
    }
    return m_managedObjectContext.get();
}

QString WrenfoldMenulet::applicationSupportFolder()
{
    return platform::dataFolder();
}

QString WrenfoldMenulet::directoryForDataStore()
{
    const QString folder = applicationSupportFolder();
    return !folder.isEmpty() && platform::makeOwnFolder(folder) ? folder : QString();
}

} // namespace app

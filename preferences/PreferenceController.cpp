#include "preferences/PreferenceController.h"

#include "platform/Desktop.h"
#include "platform/InfoDictionary.h"
#include "platform/LoginItems.h"
#include "platform/Paths.h"
#include "platform/Run.h"
#include "platform/UpdateFeed.h"
#include "preferences/PreferencesOwner.h"
#include "preferences/ShortcutsPage.h"
#include "service/HttpClient.h"
#include "service/QuillonApi.h"
#include "settings/HotKeyManager.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/Sheet.h"
#include "skin/Spinner.h"
#include "ui_InvalidCredentials.h"
#include "ui_Preferences.h"

#include <QApplication>
#include <QCloseEvent>
#include <QPointer>
#include <QScreen>
#include <QShortcut>
#include <QStyle>
#include <QTabBar>
#include <QToolButton>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace preferences {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using platform::environment;

namespace {

// A reachable service answers within a second or two.
constexpr auto Patience = 10s;
constexpr qint64 LeastIdleMinutes = 1;
constexpr qint64 DefaultIdleMinutes = 10;
constexpr int IconSize = 48;
constexpr int FolderWidth = 420;
constexpr int ButtonWidth = 84;
constexpr int ButtonPadding = 16;
/// What a desktop puts around a window.
constexpr QSize Frame(12, 40);

/// The number at the beginning of `text`; 0 when there is none.
template <class Number>
Number leadingNumber(const QString& text)
{
    const QByteArray digits = text.trimmed().toLatin1();
    // from_chars does not accept a plus sign.
    const auto* begin = digits.begin();
    if (digits.startsWith('+') && !digits.startsWith("+-"))
        ++begin;
    Number number = 0;
    std::from_chars(begin, digits.end(), number);
    return number;
}

/// How the user writes money; where the system gives no country, as in the United States.
QLocale currencyLocale()
{
    const QLocale system = QLocale::system();
    return system.currencySymbol().isEmpty() || system.language() == QLocale::C
               ? QLocale(QLocale::English, QLocale::UnitedStates)
               : system;
}

/// Text that is slightly subdued but still easy to read.
QColor mixed(const QColor& text, const QColor& ground)
{
    const auto part = [](int of, int with) { return (of * 65 + with * 35) / 100; };
    return {part(text.red(), ground.red()), part(text.green(), ground.green()), part(text.blue(), ground.blue())};
}

} // namespace

PreferenceController::PreferenceController(PreferencesOwner& owner, TimeHereOwner& timeHere)
    : m_owner(owner), m_timeHere(timeHere), m_api(service::QuillonApi::sharedApi()),
      m_preferences(settings::QuillonPreferences::sharedPreferences()), m_loginItems(environment().loginItems()),
      m_formatter(currencyLocale()), m_ui(std::make_unique<Ui::Preferences>())
{
    m_loginItemsThread.setMaxThreadCount(1);
    m_ui->setupUi(&m_window);
    m_window.setWindowFlags(Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                            Qt::WindowCloseButtonHint);
    awakeFromNib();
    windowDidLoad();
}

PreferenceController::~PreferenceController()
{
    // A field that has the focus ends its editing as the window goes, after all that it would be told to.
    m_ui->defaultRateField->disconnect(this);
}

void PreferenceController::awakeFromNib()
{
    if (m_ui->tabView->widget(1) == m_ui->favoritesPage)
        m_ui->tabView->removeTab(1);
    m_ui->tabView->scrollPages();
    m_shortcutsPage = std::make_unique<ShortcutsPage>(*m_ui);

    for (QPushButton* button : m_window.findChildren<QPushButton*>())
        button->setMinimumWidth(std::max(ButtonWidth, button->sizeHint().width() + ButtonPadding));
    // What belongs to a check box is aligned with its title.
    const QStyle& style = *m_window.style();
    const int indent = style.pixelMetric(QStyle::PM_IndicatorWidth, nullptr, m_ui->showInDockButton) +
                       style.pixelMetric(QStyle::PM_CheckBoxLabelSpacing, nullptr, m_ui->showInDockButton);
    for (QLabel* hint : {m_ui->dockHint, m_ui->updatesHint})
        hint->setContentsMargins(indent, 0, 0, 0);
    m_ui->idleRow->setContentsMargins(indent, 0, 0, 0);

    // An address reads from left to right in every language.
    if (m_window.isRightToLeft())
        m_ui->quillonUrlRow->setDirection(QBoxLayout::RightToLeft);
    m_ui->learnMoreLink->setFont(m_window.font());
    QFont title = m_window.font();
    title.setBold(true);
    for (QLabel* label : {m_ui->keepHereTitle, m_ui->hereTitle})
        label->setFont(title);
    QWidget::setTabOrder(m_ui->passwordField, &m_ui->passwordField->showButton());
    QWidget::setTabOrder(&m_ui->passwordField->showButton(), m_ui->companyField);

    m_authenticatingIndicator = new skin::Spinner;
    m_authenticatingIndicator->setObjectName(u"authenticatingIndicator"_s);
    m_ui->footer->insertWidget(m_ui->footer->indexOf(m_ui->checkingLabel), m_authenticatingIndicator);

    m_invalidCredentialsSheet = new skin::Sheet(m_window);
    m_invalidCredentialsSheet->setObjectName(u"invalidCredentialsSheet"_s);
    m_invalidCredentialsSheet->setTopEdge(m_ui->tabView->tabBar());
    Ui::InvalidCredentials sheet;
    sheet.setupUi(&m_invalidCredentialsSheet->body());
    sheet.picture->setPixmap(
        QApplication::windowIcon().pixmap(QSize(IconSize, IconSize), m_window.devicePixelRatioF()));
    m_secondaryErrorMessage = sheet.secondaryErrorMessage;
    connect(sheet.acknowledgeButton, &QPushButton::clicked, this, &PreferenceController::acknowledgeValidationError);
    m_invalidCredentialsSheet->setDefaultButton(sheet.acknowledgeButton);
}

void PreferenceController::windowDidLoad()
{
    const platform::InfoDictionary& info = environment().info();
    m_ui->learnMoreLink->setLink(QUrl(info.string("QuillonLearnMoreURL"_L1)));
    m_ui->domainLabel->setText(
        info.string(info.boolean("QuillonLocalDebug"_L1) ? "QuillonDevelopmentDomain"_L1 : "QuillonServiceDomain"_L1));
    showChecking(false);
    setHintColors();
    wire();
    controlTextDidEndEditing(nullptr);
}

void PreferenceController::wire()
{
    m_window.installEventFilter(this);
    connect(m_ui->doneButton, &QPushButton::clicked, this, &PreferenceController::doneClicked);
    connect(m_ui->tryAgainButton, &QPushButton::clicked, this, &PreferenceController::doneClicked);
    connect(m_ui->cancelButton, &QPushButton::clicked, this, &PreferenceController::cancelSigningIn);
    connect(m_ui->keepTimeHereButton, &QPushButton::clicked, this, &PreferenceController::keepTimeHere);
    connect(m_ui->signInButton, &QPushButton::clicked, this, [this] { showAccountPage(false); });
    connect(m_ui->openInBrowserButton, &QPushButton::clicked, this, [this] { m_owner.openQuillonInBrowser(this); });
    connect(m_ui->helpButton, &QPushButton::clicked, this, &PreferenceController::goToHelpCenter);
    connect(m_ui->quitButton, &QPushButton::clicked, this, [this] { m_owner.quitQuilonForMac(this); });
    connect(new QShortcut(Qt::CTRL | Qt::Key_Q, &m_window), &QShortcut::activated, this,
            [this] { m_owner.quitQuilonForMac(this); });
    connect(m_ui->defaultRateField, &QLineEdit::editingFinished, this,
            [this] { controlTextDidEndEditing(m_ui->defaultRateField); });
    connect(&m_preferences, &settings::QuillonPreferences::passwordArrived, this, [this] {
        if (!m_showsHere && m_ui->passwordField->text().isEmpty())
            m_ui->passwordField->setText(m_preferences.password());
    });
    connect(&m_preferences, &settings::QuillonPreferences::keyringAnswered, this, &PreferenceController::showKeyring);
    for (SRRecorderControl* recorder : {m_ui->toggleTimesheetShortcutControl, m_ui->newTimerShortcutControl})
        recorder->setTaken([this, recorder](qint64 keyCode, quint64 flags, QString& reason) {
            return shortcutRecorder(*recorder, keyCode, flags, reason);
        });
}

void PreferenceController::show()
{
    if (!m_window.isVisible()) {
        fill();
        // A hidden tab view does not pass a page's new size on, and a resize right after the window is shown would move
        // it to where the window manager happens to have it while it frames it.
        const QRect screen = m_window.screen()->availableGeometry();
        m_ui->tabView->setRoom(screen.size() - Frame - QSize(0, m_ui->footer->sizeHint().height()));
        // A dialog centres itself without its frame, and a frame's height above that: where there is little room its
        // title would be above the edge.
        const QSize size = m_window.sizeHint();
        if (size.height() + 4 * Frame.height() > screen.height())
            m_window.move(screen.topLeft() +
                          QPoint((screen.width() - size.width()) / 2, Frame.height() - Frame.width() / 2));
        m_quitting = false;
    }
    m_ui->quitButton->setVisible(m_owner.loggedOut());
    m_window.setWindowState(m_window.windowState() & ~Qt::WindowMinimized);
    environment().desktop().activate(m_window);
}

void PreferenceController::fill()
{
    m_ui->blinkColonButton->setChecked(m_preferences.blinkColon());
    m_ui->startAtLoginButton->setChecked(m_preferences.startAtLogin());
    m_ui->idleTimerEnabledButton->setChecked(m_preferences.idleTimerEnabled());
    m_ui->idleTimerMinutesField->setEnabled(m_preferences.idleTimerEnabled());
    const bool updatesAreSetUp = updater().isSetUp();
    m_ui->checkForUpdatesButton->setChecked(updatesAreSetUp && updater().automaticallyChecksForUpdates());
    m_ui->checkForUpdatesButton->setEnabled(updatesAreSetUp);
    m_ui->updatesHint->setHidden(updatesAreSetUp);
    m_ui->checkForUpdatesButton->setAccessibleDescription(updatesAreSetUp ? QString() : m_ui->updatesHint->text());
    const bool canLeaveTaskBar = environment().desktop().canLeaveTaskBar();
    m_ui->showInDockButton->setEnabled(canLeaveTaskBar);
    m_ui->showInDockButton->setChecked(!canLeaveTaskBar || !m_preferences.hideFromDock());
    if (!canLeaveTaskBar)
        m_ui->dockHint->setText(tr("Wayland desktops always show a program there."));
    m_ui->showInDockButton->setAccessibleDescription(m_ui->dockHint->text());
    m_ui->idleTimerMinutesField->setText(QString::number(m_preferences.idleMinutesThreshold()));
    m_shortcutsPage->fill(m_preferences);

    m_ui->tabView->setCurrentIndex(0);
    showAccountPage(isSignedInHere());
}

void PreferenceController::fillAccount()
{
    m_ui->emailField->setText(m_preferences.email());
    m_ui->passwordField->setText(m_preferences.password());
    m_ui->passwordField->setShown(false);
    m_ui->quillonUrlField->setText(m_preferences.url());
    m_ui->companyField->setText(m_preferences.companyName());
    showKeyring();

    const std::array<QLineEdit*, 3> fields{m_ui->quillonUrlField, m_ui->emailField, m_ui->passwordField};
    const auto empty = std::ranges::find_if(fields, [](const QLineEdit* field) { return field->text().isEmpty(); });
    (empty != fields.end() ? *empty : fields.front())->setFocus();
}

bool PreferenceController::isSignedInHere() const
{
    // A built-in service that is not running has no address.
    return m_preferences.timeIsKeptHere() && !m_preferences.fullUrl().isEmpty();
}

void PreferenceController::showAccountPage(bool here)
{
    m_showsHere = here;
    const bool signedInHere = isSignedInHere();
    const bool offersHere = !here && !signedInHere && m_timeHere.canKeepTimeHere();
    const bool isNew = offersHere && m_preferences.url().isEmpty();

    m_ui->herePage->setVisible(here);
    m_ui->accountFields->setVisible(!here);
    m_ui->cancelButton->setVisible(!here && signedInHere);
    m_ui->keepHereBox->setVisible(offersHere);
    m_ui->accountLead->setVisible(!here && (isNew || signedInHere));
    m_ui->accountLead->setText(signedInHere
                                   ? tr("Your time on this computer stays as it is, and you can come back to it.")
                                   : tr("Or sign in to your account:"));
    m_ui->keepHereTitle->setText(isNew ? tr("Welcome to Quillon") : tr("Without an account"));
    m_ui->keepHereText->setText(
        isNew ? tr("You do not need an account: Quillon can keep your time on this computer.")
              : tr("Quillon can keep your time on this computer instead. Your account stays as it is."));
    // New users are greeted first; existing ones see their account first.
    m_ui->accountColumn->removeWidget(m_ui->keepHereBox);
    m_ui->accountColumn->insertWidget(isNew ? 0 : m_ui->accountColumn->indexOf(m_ui->accountFields) + 1,
                                      m_ui->keepHereBox);
    if (isNew)
        QWidget::setTabOrder(m_ui->tabView->tabBar(), m_ui->keepTimeHereButton);
    else
        QWidget::setTabOrder(m_ui->learnMoreLink, m_ui->keepTimeHereButton);

    if (!here) {
        fillAccount();
        if (isNew)
            m_ui->keepTimeHereButton->setFocus();
        return;
    }
    const QString folder = tr("In the folder %1").arg(platform::dataFolder());
    m_ui->hereText->setText(m_ui->hereText->fontMetrics().elidedText(folder, Qt::ElideMiddle, FolderWidth));
    m_ui->hereText->setToolTip(platform::dataFolder());
    const QString copies = m_timeHere.copiesInWords();
    m_ui->hereCopies->setText(copies);
    m_ui->hereCopies->setHidden(copies.isEmpty());
    m_ui->doneButton->setFocus();
}

void PreferenceController::cancelSigningIn()
{
    m_waitingForAuthenticationCheck = false;
    showChecking(false);
    m_ui->doneButton->setEnabled(true);
    showAccountPage(true);
}

void PreferenceController::keepTimeHere()
{
    const auto showStarting = [this](bool starting) {
        showBusy(starting ? tr("Starting…") : QString());
        for (QPushButton* button : {m_ui->keepTimeHereButton, m_ui->doneButton})
            button->setEnabled(!starting);
    };
    showStarting(true);
    m_waitingForAuthenticationCheck = false;
    m_timeHere.keepTimeHere([this, showStarting](bool kept) {
        showStarting(false);
        if (!kept)
            return;
        showAccountPage(true);
        announce();
        relaunchIfNeeded();
    });
}

void PreferenceController::doneClicked()
{
    // The built-in service needs no check.
    if (m_showsHere) {
        announce();
        relaunchIfNeeded();
        return;
    }
    if (!validateCredentials())
        return;
    saveCredentials();
    m_api.authenticateNewCredentialsAndNotify(this, [self = QPointer(this)](const service::Result& result) {
        if (!self || !result.error || result.error->domain != service::HttpErrorDomain)
            return;
        if (result.error->code == service::ProxyErrorCode)
            self->checkFailed(result.error->localizedDescription); // trying again does not help
        else
            self->showUnanswered(result.error->localizedDescription, true);
    });
    m_waitingForAuthenticationCheck = true;
    showChecking(true);
    m_ui->doneButton->setEnabled(false);
}

bool PreferenceController::windowShouldClose()
{
    // The sheet comes first.
    if (m_invalidCredentialsSheet->isOpen())
        return false;
    // With nothing typed, it goes back to where it was.
    if (!m_ui->cancelButton->isHidden() && !credentialsChanged())
        cancelSigningIn();
    doneClicked();
    return false;
}

bool PreferenceController::validateCredentials()
{
    QStringList invalid;
    const auto check = [&invalid](const QLineEdit& field, const QString& label) {
        if (field.text().trimmed().isEmpty())
            invalid << label;
    };
    check(*m_ui->emailField, tr("Email"));
    check(*m_ui->quillonUrlField, tr("Secure Site"));
    check(*m_ui->passwordField, tr("Password"));
    switch (invalid.size()) {
    case 0:
        return true;
    case 1:
        showSheet(tr("Your %1 is invalid. Please enter a valid %1 before continuing.").arg(invalid[0]));
        break;
    case 2:
        showSheet(
            tr("Your %1 and %2 are invalid. Please enter valid values before continuing.").arg(invalid[0], invalid[1]));
        break;
    default:
        showSheet(tr("Your %1, %2, and %3 are invalid. Please enter valid values before continuing.")
                      .arg(invalid[0], invalid[1], invalid[2]));
    }
    return false;
}

void PreferenceController::showSheet(const QString& message)
{
    m_secondaryErrorMessage->setText(message);
    m_invalidCredentialsSheet->setAccessibleName(message);
    m_ui->tabView->setCurrentIndex(0);
    m_invalidCredentialsSheet->open();
}

void PreferenceController::acknowledgeValidationError()
{
    m_invalidCredentialsSheet->close();
}

bool PreferenceController::credentialsChanged() const
{
    const settings::Credentials stored = m_preferences.savedCredentials();
    return m_ui->emailField->text().trimmed() != stored.email ||
           m_ui->quillonUrlField->text().trimmed() != stored.url ||
           m_ui->passwordField->text().trimmed() != m_preferences.password();
}

settings::QuillonPreferences& PreferenceController::saveCredentials()
{
    if (!m_showsHere) {
        m_preferences.setUrl(m_ui->quillonUrlField->text());
        m_preferences.setEmail(m_ui->emailField->text());
        m_preferences.setPassword(m_ui->passwordField->text());
        m_preferences.setCompanyName(m_ui->companyField->text());
    }
    m_preferences.setBlinkColon(m_ui->blinkColonButton->isChecked());
    m_preferences.setStartAtLogin(m_ui->startAtLoginButton->isChecked());
    m_preferences.setIdleTimerEnabled(m_ui->idleTimerEnabledButton->isChecked());
    // Where there is no choice, that of sessions which have one stays.
    if (m_ui->showInDockButton->isEnabled())
        m_preferences.setHideFromDock(!m_ui->showInDockButton->isChecked());

    auto minutes = leadingNumber<qint64>(m_ui->idleTimerMinutesField->text());
    if (minutes < LeastIdleMinutes) {
        minutes = DefaultIdleMinutes;
        m_ui->idleTimerMinutesField->setText(QString::number(minutes));
    }
    m_preferences.setIdleMinutesThreshold(minutes);

    if (updater().isSetUp())
        updater().setAutomaticallyChecksForUpdates(m_ui->checkForUpdatesButton->isChecked());
    m_shortcutsPage->store(m_preferences);
    m_preferences.save();
    settings::HotKeyManager::instance().registerHotKeysFromPrefs();
    if (!m_showsHere)
        showKeyring();

    m_loginItemsThread.start([this, start = m_ui->startAtLoginButton->isChecked()] {
        if (start)
            addAppAsLoginItem();
        else
            deleteAppFromLoginItem();
    });
    return m_preferences;
}

void PreferenceController::authenticationSucceeded()
{
    showChecking(false);
    if (m_waitingForAuthenticationCheck) {
        m_waitingForAuthenticationCheck = false;
        m_ui->doneButton->setEnabled(true);
        if (m_preferences.timeIsKeptHere())
            m_timeHere.keepTimeElsewhere();
        announce();
    }
    relaunchIfNeeded();
}

void PreferenceController::announce()
{
    emit saveCredentials().preferencesChanged();
    m_window.hide();
}

void PreferenceController::relaunchIfNeeded()
{
    const auto& defaults = settings::UserDefaults::standardUserDefaults();
    if (m_owner.showingInDock() == defaults.boolForKey(settings::QuillonHideFromDockKey))
        m_owner.relaunch(this);
}

void PreferenceController::authenticationFailed()
{
    checkFailed(
        tr("Your credentials could not be verified. Please check to make sure they are correct and try again."));
}

void PreferenceController::checkFailed(const QString& reason)
{
    showChecking(false);
    if (!std::exchange(m_waitingForAuthenticationCheck, false))
        return;
    // Before the sheet, which blocks what is enabled.
    m_ui->doneButton->setEnabled(true);
    showSheet(reason);
}

void PreferenceController::showBusy(const QString& what)
{
    m_ui->tryAgainButton->hide();
    m_ui->checkingLabel->setText(what);
    m_patience.reset();
    if (what.isNull())
        m_authenticatingIndicator->stopAnimation();
    else
        m_authenticatingIndicator->startAnimation();
}

void PreferenceController::showChecking(bool checking)
{
    showBusy(checking ? tr("Checking your account…") : QString());
    if (checking)
        m_patience = environment().time().repeat(Patience, [this] { showUnanswered(tr("No answer yet"), false); });
}

void PreferenceController::showUnanswered(const QString& reason, bool hasEnded)
{
    if (!m_waitingForAuthenticationCheck)
        return;
    if (hasEnded)
        m_authenticatingIndicator->stopAnimation();
    m_patience.reset();
    m_ui->checkingLabel->setText(reason);
    m_ui->checkingLabel->setToolTip(m_preferences.savedCredentials().fullUrl);
    m_ui->tryAgainButton->show();
}

void PreferenceController::showKeyring()
{
    m_ui->keyringLabel->setVisible(m_preferences.passwordKeptForThisRunOnly());
}

void PreferenceController::controlTextDidEndEditing(QLineEdit* field)
{
    if (!field || !field->isModified())
        return;
    const double rate = parseRate(*field).value_or(leadingNumber<double>(field->text()));
    field->setText(m_formatter.toCurrencyString(std::isfinite(rate) ? rate : 0.0));
}

std::optional<double> PreferenceController::parseRate(const QLineEdit& field) const
{
    // With or without its symbol: it is an amount in the one currency.
    QString text = field.text();
    text.remove(m_formatter.currencySymbol());
    bool isNumber = false;
    const double rate = m_formatter.toDouble(text.trimmed(), &isNumber);
    return isNumber ? std::optional(rate) : std::nullopt;
}

void PreferenceController::setUsingDefaultRate(bool use)
{
    m_usingDefaultRate = use;
    m_ui->defaultRateField->setEnabled(use);
}

void PreferenceController::goToHelpCenter()
{
    m_owner.showHelp(this);
}

void PreferenceController::addAppAsLoginItem()
{
    // Failure to write the list is ignored: there is nothing the user could do about it here.
    static_cast<void>(m_loginItems.insert(platform::programPath(), m_owner.startArguments()));
}

void PreferenceController::deleteAppFromLoginItem()
{
    const QString program = platform::programPath();
    for (const platform::LoginItems::Item& item :
         m_loginItems.snapshot().value_or(std::vector<platform::LoginItems::Item>())) {
        if (m_loginItems.resolve(item) == program)
            static_cast<void>(m_loginItems.remove(item)); // likewise
    }
}

platform::UpdateFeed& PreferenceController::updater() const
{
    return environment().updateFeed();
}

bool PreferenceController::shortcutRecorder(const SRRecorderControl& /*recorder*/, qint64 /*isKeyCode*/,
                                            quint64 /*andFlagsTaken*/, QString& reason) const
{
    reason = u"no"_s;
    return false;
}

void PreferenceController::setHintColors()
{
    // Few desktops have a colour for hints, and where they do it is pale.
    // After a change of the palette the window has it before what is in it.
    const auto paint = [colors = m_window.palette()](QWidget& widget, QPalette::ColorRole role,
                                                     QPalette::ColorRole text, QPalette::ColorRole ground) {
        QPalette palette = widget.palette();
        const QColor hint = mixed(colors.color(QPalette::Active, text), colors.color(QPalette::Active, ground));
        palette.setColor(QPalette::Active, role, hint);
        palette.setColor(QPalette::Inactive, role, hint);
        widget.setPalette(palette);
    };
    m_window.ensurePolished();
    for (QLabel* label : m_window.findChildren<QLabel*>()) {
        if (!label->property("hint").toBool())
            continue;
        label->setPalette(m_window.palette());
        paint(*label, QPalette::WindowText, QPalette::WindowText, QPalette::Window);
    }
    for (QWidget* field :
         std::initializer_list<QWidget*>{m_ui->quillonUrlField, m_ui->emailField, m_ui->toggleTimesheetShortcutControl,
                                         m_ui->newTimerShortcutControl})
        paint(*field, QPalette::PlaceholderText, QPalette::Text, QPalette::Base);
}

bool PreferenceController::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != &m_window) {
        // The program ends: now the window may close.
        if (watched == QCoreApplication::instance() && event->type() == QEvent::Quit)
            m_quitting = true;
        return false;
    }
    switch (event->type()) {
    case QEvent::Close:
        if (m_quitting)
            return false;
        event->setAccepted(windowShouldClose());
        return true;
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
            return false;
        // Cancels, and never sends what is half typed. A dialog would close.
        if (!m_ui->cancelButton->isHidden())
            cancelSigningIn();
        return true;
    case QEvent::PaletteChange:
        setHintColors();
        return false;
    case QEvent::Show:
        if (!event->spontaneous())
            QCoreApplication::instance()->installEventFilter(this);
        return false;
    case QEvent::Hide:
        if (!event->spontaneous())
            QCoreApplication::instance()->removeEventFilter(this);
        return false;
    default:
        return false;
    }
}

} // namespace preferences

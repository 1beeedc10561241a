#include "timesheet/TimesheetController.h"

#include "editing/EditTimerController.h"
#include "model/DateComparisons.h"
#include "model/HoursClock.h"
#include "model/HoursMinutes.h"
#include "platform/Compositing.h"
#include "platform/Desktop.h"
#include "platform/DirectPaint.h"
#include "platform/Run.h"
#include "service/QuillonApi.h"
#include "settings/KeyCodes.h"
#include "settings/QuillonPreferences.h"
#include "skin/ColorHex.h"
#include "skin/Geometrics.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/Spinner.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetWindow.h"
#include "timesheet/TitleStrip.h"
#include "timesheet/ToolbarView.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLocale>
#include <QPixmap>
#include <QShortcut>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace timesheet {

using namespace Qt::StringLiterals;
using Command = TimesheetListViewCell::Command;

using platform::environment;

namespace {

constexpr double LineHeight = 14;

QDate today()
{
    return model::localDay(model::now());
}

} // namespace

TimesheetController::TimesheetController(TimesheetOwner& owner)
    : m_owner(owner), m_api(service::QuillonApi::sharedApi()), m_window(std::make_unique<TimesheetWindow>()),
      m_currentDate(today())
{
    m_window->dayEntriesListView->setDelegate(this);
    m_window->dayEntriesListView->setKeysToForward({u"e"_s, u"s"_s});
    wire();
    updateKeyEquivalents();
    updateDateLabel();
    updateTotal();
    m_window->noEntriesYetView->hide(); // until it is known
    updateGoToTodayButton();
    updateButtonsWhenNotToday();
    m_window->restoreFrame();
}

TimesheetController::~TimesheetController()
{
    if (m_window->isVisible())
        m_window->saveFrame();
    model::HoursClock::instance().watch(*this, {});
    m_window->removeEventFilter(this);
    m_window->contentView().removeEventFilter(this);
    m_window->dayEntriesListView->setDelegate(nullptr);
}

void TimesheetController::wire()
{
    const auto click = [this](QAbstractButton* button, auto action) {
        connect(button, &QAbstractButton::clicked, this, action);
    };
    TimesheetWindow& window = *m_window;
    click(window.backButton, [this] { advanceDate(m_window->backButton); });
    click(window.forwardButton, [this] { advanceDate(m_window->forwardButton); });
    click(window.goToTodayButton, [this] { goToToday(); });
    click(window.newTimerButton, [this] { newTimerClicked(m_window->newTimerButton); });
    click(window.startNewTimerButton, [this] { newTimerClicked(m_window->startNewTimerButton); });
    click(window.signInButton, [this] { m_owner.showPreferencePanel(m_window->signInButton); });
    click(window.goToQuillonButton, [this] { goToQuillon(m_window->goToQuillonButton); });

    // Deleting cannot be undone: the key only selects it, and Return confirms.
    connect(new QShortcut(Qt::Key_Delete, m_window.get()), &QShortcut::activated, this, [this] {
        if (m_window->isListReachable())
            showMenuOfSelectedRow(Command::DeleteTimer);
    });

    connect(&model::HoursClock::instance(), &model::HoursClock::changed, this, &TimesheetController::updateHours);
    window.installEventFilter(this);
    window.contentView().installEventFilter(this);
}

// Showing

void TimesheetController::setCompany(model::Company* company)
{
    m_company = company;
    if (!company)
        reloadEntries();
}

RLListView& TimesheetController::dayEntriesListView() const
{
    return *m_window->dayEntriesListView;
}

void TimesheetController::windowHack()
{
    // Elsewhere the window would have a title twice.
    m_window->setOwnFrame(platform::mayDrawFrames());
}

bool TimesheetController::prepareMore()
{
    // What is drawn keeps its pictures, letters and layouts.
    static_cast<void>(m_window->winId());
    const int width = m_window->width();
    const auto draw = [&](int top, int bottom) {
        const qreal scale = m_window->devicePixelRatioF();
        QPixmap picture((QSizeF(width, bottom - top) * scale).toSize());
        picture.setDevicePixelRatio(scale);
        // Unlike a grab it leaves hidden parts alone: an empty day is laid out when it is empty.
        m_window->render(&picture, {}, QRegion(0, top, width, bottom - top));
        return true;
    };
    const int middle = m_window->height() / 2;
    switch (m_preparedParts++) {
    case 0:
        // Which takes a look through the desktop's themes. It would be set when the window is shown.
        m_window->windowHandle()->setCursor(Qt::ArrowCursor);
        return true;
    case 1:
        return draw(0, TitleStrip::Height);
    case 2:
        return draw(TitleStrip::Height, middle);
    case 3:
        return draw(middle, m_window->height());
    case 4: {
        TimesheetListViewCell row(*this);
        row.resize(width, TimesheetListViewCell::BaseHeight);
        row.hoursLabel->setText(u"0123456789:"_s);
        row.projectLabel->setText(u"abcdefghijklmnopqrstuvwxyz"_s);
        static_cast<void>(row.grab());
        return true;
    }
    default:
        return false;
    }
}

void TimesheetController::show()
{
    updateKeyEquivalents();
    if (m_isBehind)
        reloadEntries();
    checkShouldGoToToday();
    m_lastOpenedTime = model::now();
    m_window->setWindowState(m_window->windowState() & ~Qt::WindowMinimized);
    environment().desktop().activate(*m_window);
    reloadEntries();
    updateScrolling();
    platform::paintAhead(*m_window);
}

void TimesheetController::toggle()
{
    // Hidden just now, it may still count as active.
    if (m_window->isVisible() && m_window->isActiveWindow())
        m_window->close();
    else
        show();
}

void TimesheetController::checkShouldGoToToday()
{
    if (!isToday() && !anyRunningTimers() && !isDateToday(model::localDay(m_lastOpenedTime)))
        goToToday();
}

bool TimesheetController::anyRunningTimers() const
{
    return std::ranges::any_of(dayEntries(), [](const model::DayEntry* entry) { return entry && entry->isRunning(); });
}

std::vector<model::DayEntry*> TimesheetController::dayEntries() const
{
    std::vector<model::DayEntry*> entries;
    entries.reserve(m_dayEntries.size());
    for (const store::Ref<model::DayEntry>& entry : m_dayEntries)
        entries.push_back(entry.get());
    return entries;
}

model::DayEntry* TimesheetController::entryAt(int row) const
{
    return row >= 0 && static_cast<std::size_t>(row) < m_dayEntries.size()
               ? m_dayEntries[static_cast<std::size_t>(row)].get()
               : nullptr;
}

int TimesheetController::rowOfEntry(const model::DayEntry& entry) const
{
    const auto found = std::ranges::find(m_dayEntries, &entry, &store::Ref<model::DayEntry>::get);
    return found == m_dayEntries.end() ? -1 : static_cast<int>(found - m_dayEntries.begin());
}

// Days

void TimesheetController::advanceDate(const QObject* sender)
{
    m_currentDate = m_currentDate.addDays(sender == m_window->backButton ? -1 : 1);
    m_api.requestDailyTimesheetForDate(m_currentDate);
    toggleLoading(true);
}

void TimesheetController::goToToday()
{
    goToDate(today());
}

void TimesheetController::goToDate(QDate date)
{
    m_currentDate = date;
    m_api.requestDailyTimesheetForDate(m_currentDate);
    toggleLoading(true);
    updateButtonsWhenNotToday();
}

bool TimesheetController::isDateToday(QDate date)
{
    return date.isValid() && date == today();
}

void TimesheetController::newTimerClicked(QObject* sender)
{
    m_owner.showNewTimerWindow(sender);
}

void TimesheetController::goToQuillon(QObject* sender)
{
    // The page of that very day, with the form for a new entry ready. Of an account elsewhere the address is given.
    if (settings::QuillonPreferences::sharedPreferences().timeIsKeptHere()) {
        openDay(m_currentDate, u"?new=1"_s);
        return;
    }
    m_owner.openQuillonInBrowser(sender);
}

// Reloading

void TimesheetController::reloadEntries()
{
    const bool contentFocused = m_window->isContentFocused();
    m_window->totalHoursLabel->setBackgroundStyle(skin::QuillonTextFieldCell::BackgroundStyle::Raised);
    toggleLoading(false);
    updateDateLabel();

    const std::size_t before = m_dayEntries.size();
    m_dayEntries.clear();
    if (const model::Company* company = m_company.get()) {
        for (model::DayEntry* entry : company->dayEntriesForDate(m_currentDate))
            m_dayEntries.emplace_back(entry);
    }
    m_isBehind = false;
    if (static_cast<std::size_t>(m_notesHeights.size()) > 2 * m_dayEntries.size() + 100)
        m_notesHeights.clear(); // notes that are gone
    watchHours();

    updateTotal();
    updateForNoEntries();
    updateGoToTodayButton();
    dayEntriesListView().reloadData();
    updateSelection();
    if (m_dayEntries.size() != before)
        updateScrolling();
    fixTotalPosition();
    updateButtonsWhenNotToday();
    if (contentFocused)
        m_window->focusContent();
    if (m_editTimerController)
        m_editTimerController->entriesDidChange();
}

void TimesheetController::entriesDidChange()
{
    m_isBehind = true;
    if (m_window->isVisible())
        reloadEntries();
    else if (m_editTimerController)
        m_editTimerController->entriesDidChange();
}

void TimesheetController::updateDateLabel()
{
    m_window->currentDateLabel->setText(dateLabel(m_currentDate));
}

QString TimesheetController::dateLabel(QDate date)
{
    return QLocale().toString(date, u"dddd, MMMM d, yyyy"_s);
}

void TimesheetController::updateTotal()
{
    double hours = 0;
    for (const model::DayEntry* entry : dayEntries())
        hours += entry ? entry->totalHours() : 0;
    m_window->totalHoursLabel->setText(model::stringInHoursMinutesFormat(hours));
}

void TimesheetController::updateForNoEntries()
{
    const bool none = m_dayEntries.empty();
    if (none) {
        m_window->noEntriesLabel->setText(isToday() ? tr("You have no timers yet today.")
                                                    : tr("You have no timers for this date."));
    }
    updateEmptyDayNote();
    m_window->noEntriesYetView->setVisible(none);
    m_window->dayEntriesListView->setVisible(!none);
}

void TimesheetController::updateEmptyDayNote()
{
    QString note;
    if (m_loggedOut)
        note = tr("Nobody is signed in.");
    else if (m_offline)
        note = tr("You are offline. Timers show again when the network is back.");
    m_window->setEmptyDayNote(note);
}

void TimesheetController::updateButtonsWhenNotToday()
{
    m_window->newTimerButton->setEnabled(isToday() && !m_offline);
    m_window->startNewTimerButton->setVisible(isToday() && !m_loggedOut);
    m_window->signInButton->setVisible(m_loggedOut);
    m_window->goToQuillonButton->setVisible(!isToday() && !m_loggedOut);
    m_window->goToQuillonButton->setText(settings::QuillonPreferences::sharedPreferences().timeIsKeptHere()
                                             ? tr("Add an Entry in the Browser")
                                             : tr("View in Quillon"));
}

void TimesheetController::updateKeyEquivalents()
{
    const settings::KeyCombo combo = settings::QuillonPreferences::sharedPreferences().newTimerWindowHotKeyCombo();
    m_window->setStartNewTimerTitle(
        combo.code != settings::KeyCombo::NoKey
            ? tr("Start a new timer (%1)").arg(settings::keySequence(combo).toString(QKeySequence::NativeText))
            : tr("Start a new timer"));
}

void TimesheetController::updateGoToTodayButton()
{
    m_window->centreDate(!isToday());
}

void TimesheetController::fixTotalPosition()
{
    m_window->placeTotal();
}

void TimesheetController::updateSelection()
{
    if (m_lastSelectedRow >= 0 && static_cast<std::size_t>(m_lastSelectedRow) < m_dayEntries.size())
        dayEntriesListView().setSelectedRow(m_lastSelectedRow);
}

void TimesheetController::updateScrolling()
{
    const auto running = std::ranges::find_if(
        m_dayEntries, [](const store::Ref<model::DayEntry>& entry) { return entry && entry.get()->isRunning(); });
    const auto shown = running == m_dayEntries.end() ? std::ssize(m_dayEntries) - 1 : running - m_dayEntries.begin();
    dayEntriesListView().scrollRowToVisible(static_cast<int>(shown));
}

// Running hours

bool TimesheetController::isWatched() const
{
    return m_window->isVisible() && !m_window->isMinimized();
}

void TimesheetController::watchHours()
{
    std::vector<double> growing;
    if (isWatched()) {
        double total = 0;
        for (const model::DayEntry* entry : dayEntries()) {
            total += entry ? entry->totalHours() : 0;
            if (entry && entry->isRunning())
                growing.push_back(entry->totalHours());
        }
        if (!growing.empty())
            growing.push_back(total);
    }
    model::HoursClock::instance().watch(*this, growing);
}

void TimesheetController::updateHours()
{
    if (!isWatched())
        return;
    watchHours();
    for (RLListViewCell* cell : dayEntriesListView().visibleCells()) {
        static_cast<TimesheetListViewCell*>(cell)->updateHours();
        cell->tellName();
    }
    updateTotal();
    fixTotalPosition();
}

bool TimesheetController::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &m_window->contentView()) {
        if (event->type() == QEvent::Resize)
            fixTotalPosition();
    } else if (event->type() == QEvent::Show) {
        if (m_isBehind)
            reloadEntries();
        updateHours();
    } else if (event->type() == QEvent::Hide || event->type() == QEvent::WindowStateChange) {
        watchHours();
    }
    return QObject::eventFilter(watched, event);
}

// The list

int TimesheetController::numberOfRowsInListView(RLListView&)
{
    return static_cast<int>(m_dayEntries.size());
}

RLListViewCell& TimesheetController::cellForRow(RLListView& listView, int row)
{
    RLListViewCell* queued = listView.dequeueCellWithReusableIdentifier(TimesheetListViewCell::ReusableIdentifierOfAll);
    auto* cell = queued ? static_cast<TimesheetListViewCell*>(queued) : new TimesheetListViewCell(*this);
    cell->setDayEntry(entryAt(row));
    return *cell;
}

double TimesheetController::heightOfRow(RLListView&, int row)
{
    const model::DayEntry* entry = entryAt(row);
    if (!entry)
        return 0;
    const QString notes = TimesheetListViewCell::shownNotes(entry->notes());
    if (notes.isEmpty())
        return TimesheetListViewCell::BaseHeight;
    const int width = m_window->width() - TimesheetListViewCell::SideMargins;
    if (std::exchange(m_notesWidth, width) != width)
        m_notesHeights.clear();
    auto known = m_notesHeights.constFind(notes);
    if (known == m_notesHeights.cend())
        known = m_notesHeights.insert(notes, skin::heightForWidth(notes, width, TimesheetListViewCell::notesFont()));
    const auto height = static_cast<float>(*known);
    const auto lines = std::ceil(height / static_cast<float>(LineHeight));
    return lines * static_cast<float>(LineHeight) + static_cast<float>(TimesheetListViewCell::NotesMargin) +
           TimesheetListViewCell::BaseHeight;
}

const void* TimesheetController::objectOfRow(RLListView&, int row)
{
    return entryAt(row);
}

void TimesheetController::selectionDidChange(RLListView& listView)
{
    m_lastSelectedRow = listView.selectedRow();
}

void TimesheetController::rowDoubleClicked(RLListView&, int row)
{
    model::DayEntry* entry = entryAt(row);
    if (!m_loading && entry && !entry->isLocked())
        editTimer(*entry);
}

void TimesheetController::keyDown(RLListView& listView, QKeyEvent& event)
{
    model::DayEntry* entry = entryAt(listView.selectedRow());
    // A held key counts as one press.
    if (!entry || entry->isLocked() || event.isAutoRepeat())
        return;
    if (event.text() == "e"_L1) {
        editTimer(*entry);
    } else if (event.text() == "s"_L1) {
        m_api.toggleTimer(*entry);
        toggleLoading(true);
    }
}

void TimesheetController::showMenuOfSelectedRow(std::optional<Command> preselected)
{
    RLListView& list = dayEntriesListView();
    const int row = list.selectedRow();
    list.scrollRowToVisible(row);
    if (auto* cell = static_cast<TimesheetListViewCell*>(list.visibleCellForRow(row)))
        cell->popUpMenu(cell->mapToGlobal(QPoint(24, TimesheetListViewCell::BaseHeight)), preselected);
}

// Rows

void TimesheetController::buttonClickedAt(int row)
{
    if (const model::DayEntry* entry = entryAt(row)) {
        m_api.toggleTimer(*entry);
        toggleLoading(true);
    }
}

void TimesheetController::deleteTimerAt(int row)
{
    if (const model::DayEntry* entry = entryAt(row))
        m_api.deleteTimer(*entry);
}

void TimesheetController::viewInQuillonAtRow(int row)
{
    const model::DayEntry* entry = entryAt(row);
    if (!entry)
        return;
    openDay(model::localDay(entry->spentAt()));
}

void TimesheetController::openDay(QDate day, const QString& query)
{
    environment().desktop().openUrl(
        QUrl(u"%1/daily/%2/%3%4"_s.arg(settings::QuillonPreferences::sharedPreferences().fullUrl(),
                                       QString::number(day.dayOfYear()), QString::number(day.year()), query)));
}

// Editing

void TimesheetController::editTimer(model::DayEntry& entry)
{
    m_lastSelectedRow = dayEntriesListView().selectedRow();
    if (!m_editTimerController)
        m_editTimerController = std::make_unique<editing::EditTimerController>(&entry);
    m_editTimerController->setTimesheetController(this);
    m_editTimerController->setEntry(&entry);
    dayEntriesListView().clearFocus();
    m_editTimerController->showEditTimer();
    for (QWidget* part : m_window->frameParts())
        part->raise();
    m_window->setTotalVisible(false);
}

void TimesheetController::dismissEditTimer()
{
    updateTotal();
    m_window->setTotalVisible(true);
    dayEntriesListView().reloadData();
    dayEntriesListView().setFocus();
    updateSelection();
}

void TimesheetController::catalogDidChange()
{
    if (m_editTimerController)
        m_editTimerController->catalogDidChange();
}

QWidget& TimesheetController::editTimerWindow()
{
    return *m_window;
}

QWidget* TimesheetController::editTimerTopEdge()
{
    return m_window->toolbarView;
}

QWidgetList TimesheetController::partsUsableWhileEditing()
{
    return m_window->frameParts();
}

// States

void TimesheetController::setHint(const std::optional<skin::Hint>& hint)
{
    m_window->setHint(hint);
}

void TimesheetController::setQuestion(const std::optional<skin::Hint>& question)
{
    m_window->setQuestion(question);
}

void TimesheetController::setLoggedOut(bool loggedOut)
{
    if (std::exchange(m_loggedOut, loggedOut) == loggedOut)
        return;
    updateEmptyDayNote();
    updateButtonsWhenNotToday();
}

void TimesheetController::setOffline(bool offline)
{
    m_offline = offline;
    updateEmptyDayNote();
    m_window->offlineIndicator->setVisible(offline);
    for (QWidget* button : {m_window->backButton, m_window->forwardButton, m_window->goToTodayButton})
        button->setEnabled(!offline);
    m_window->newTimerButton->setEnabled(!offline && isToday());
}

void TimesheetController::toggleLoading(bool loading)
{
    skin::Spinner& indicator = *m_window->loadingIndicator;
    if (m_offline) {
        indicator.hide();
        return;
    }
    m_loading = loading;
    indicator.setVisible(loading);
    if (loading) {
        const bool contentFocused = m_window->isContentFocused();
        m_window->noEntriesYetView->hide();
        if (contentFocused)
            m_window->focusContent();
        indicator.startAnimation();
    } else {
        indicator.stopAnimation();
    }
}

} // namespace timesheet

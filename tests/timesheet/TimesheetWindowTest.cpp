#include "TimesheetRun.h"

#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
#include "skin/RunningButtonBackground.h"
#include "support/InRow.h"
#include "support/TestMain.h"
#include "timesheet/TitleStrip.h"
#include "timesheet/ToolbarView.h"

#include <QAccessible>
#include <QScreen>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class TimesheetWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void theOldDayStaysUntilTheAnswerIsThere()
    {
        TimesheetRun run{{.notes = "today", .minutes = 60}, {.notes = "yesterday", .minutes = 30, .day = "2013-01-14"}};
        QTest::mouseClick(run.window().backButton, Qt::LeftButton);
        VERIFY_EACH(run.date() == u"Tuesday, January 15, 2013"_s, run.window().loadingIndicator->isVisible());
        run.settle();
        VERIFY_EACH(run.notesShown() == QStringList(u"yesterday"_s), !run.window().loadingIndicator->isVisible());
        run.requested();
        QCOMPARE(run.key(Qt::Key_Left, Qt::AltModifier), QStringList(u"GET /daily/13/2013?slim=1"_s));
        QCOMPARE(run.key(Qt::Key_Right, Qt::AltModifier), QStringList(u"GET /daily/14/2013?slim=1"_s));
    }

    void walksByTheCalendar()
    {
        TimesheetRun run;
        qputenv("TZ", "Europe/Berlin");
        tzset();
        // Half past midnight; the night before had 23 hours.
        run.test.time.setNow(std::chrono::sys_days(2013y / 3 / 31) + 22h + 30min);
        run.open();
        QCOMPARE(run.date(), u"Monday, April 1, 2013"_s);
        QCOMPARE(run.click(run.window().backButton), QStringList(u"GET /daily/90/2013?slim=1"_s));
        QCOMPARE(run.click(run.window().backButton), QStringList(u"GET /daily/89/2013?slim=1"_s));
        QCOMPARE(run.date(), u"Saturday, March 30, 2013"_s);
    }

    void jumpsToTodayWhenOpenedOnANewDay()
    {
        for (const auto& [name, running, hoursLater, shown] :
             {std::tuple{"the next day", false, 20, u"Wednesday, January 16, 2013"_s},
              std::tuple{"the next day, with a timer running", true, 20, u"Monday, January 14, 2013"_s},
              std::tuple{"the same day", false, 2, u"Monday, January 14, 2013"_s}}) {
            const support::InRow inRow(name);
            TimesheetRun run{{.notes = "yesterday", .minutes = 30, .running = running, .day = "2013-01-14"}};
            run.click(run.window().backButton);
            QCOMPARE(run.date(), u"Monday, January 14, 2013"_s);
            run.key(Qt::Key_Escape);
            QVERIFY(!run.window().isVisible());

            run.test.time.setNow(run.test.time.now() + std::chrono::hours(hoursLater));
            run.menulet->showTimesheetWindow(nullptr);
            run.settle();
            QCOMPARE(run.date(), shown);
        }
    }

    void togglesByTheKeyboardFocus()
    {
        TimesheetRun run;
        run.open();
        run.menulet->toggleTimesheetWindow(nullptr);
        QVERIFY(!run.window().isVisible());
        run.menulet->toggleTimesheetWindow(nullptr);
        QVERIFY(QTest::qWaitForWindowActive(&run.window()));

        // Shown, but the keyboard is elsewhere: brought to the front instead.
        QWidget other;
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        run.menulet->toggleTimesheetWindow(nullptr);
        QVERIFY(QTest::qWaitForWindowActive(&run.window()));

        QTest::keyClick(&run.window(), Qt::Key_W, Qt::ControlModifier);
        QVERIFY(!run.window().isVisible());
    }

    void saysWhatIsMissing()
    {
        TimesheetRun run;
        run.open();
        timesheet::TimesheetWindow& window = run.window();
        QTest::mouseClick(window.forwardButton, Qt::LeftButton);
        QVERIFY(!window.noEntriesYetView->isVisible());
        run.settle();
        QVERIFY(window.noEntriesYetView->isVisible());

        // The built-in service's page of that day, ready for what was forgotten.
        const auto url = u"http://local.localhost:%1"_s.arg(run.port);
        settings::QuillonPreferences::sharedPreferences().keepTimeHere({u"you"_s, u"secret"_s, u".local"_s, url});
        run.controller().setCurrentDate(QDate(2012, 12, 31));
        run.controller().updateButtonsWhenNotToday();
        QCOMPARE(window.goToQuillonButton->text(), u"Add an Entry in the Browser"_s);
        run.controller().goToQuillon(window.goToQuillonButton);
        QCOMPARE(run.test.desktop.opened.last(), QUrl(url + u"/daily/366/2012?new=1"_s));
    }

    void hotKeyWithoutAKeyIsNotNamed()
    {
        TimesheetRun run;
        run.open();
        auto& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.setNewTimerWindowHotKeyCombo({0, settings::KeyCombo::NoKey});
        run.controller().updateKeyEquivalents();
        QCOMPARE(run.window().startNewTimerButton->text(), u"Start a new timer"_s);
    }

    void offlineKeepsFromWhatNeedsTheService()
    {
        TimesheetRun run;
        run.open();
        timesheet::TimesheetWindow& window = run.window();
        run.test.network.setReachable(false);
        QCOMPARE(run.key(Qt::Key_Left, Qt::ControlModifier), QStringList());
        run.controller().toggleLoading(true);
        VERIFY_EACH(!run.controller().loading(), !window.loadingIndicator->isVisible());

        run.test.network.setReachable(true);
        run.settle();
        run.click(window.backButton);
        run.test.network.setReachable(false);
        run.test.network.setReachable(true);
        for (const QAbstractButton* button : {window.backButton, window.forwardButton, window.goToTodayButton})
            QVERIFY2(button->isEnabled(), qPrintable(button->objectName()));
        VERIFY_EACH(!window.offlineIndicator->isVisible(), !window.newTimerButton->isEnabled());
    }

    void loadingEndsWithTheNextReload()
    {
        TimesheetRun run{{.notes = "work", .minutes = 5}};
        run.peer.answer("GET /daily/14/2013", {{503}, {503}});
        run.test.time.blockSleeps();
        QTest::mouseClick(run.window().backButton, Qt::LeftButton);
        VERIFY_EACH(run.controller().loading(), run.window().loadingIndicator->isVisible());
        QVERIFY(run.window().loadingIndicator->isAnimating());
        run.controller().reloadEntries();
        VERIFY_EACH(!run.controller().loading(), !run.window().loadingIndicator->isVisible());
    }

    void aHiddenWindowReloadsWhenItIsShown()
    {
        TimesheetRun run{{.notes = "one", .minutes = 5}};
        run.window().hide();
        run.add({.notes = "two", .minutes = 10});
        run.refresh();
        VERIFY_EACH(run.notesShown() == QStringList(u"one"_s), run.total() == u"0:05"_s);
        run.window().show();
        VERIFY_EACH(run.notesShown() == QStringList({u"one"_s, u"two"_s}), run.total() == u"0:15"_s);
    }

    void loadingHoldsBackEdits()
    {
        TimesheetRun run{{.notes = "work", .minutes = 5}};
        QTest::mouseDClick(&run.row(0), Qt::LeftButton, {}, {40, 20});
        QCOMPARE(run.edited(), u"work"_s);
        run.refresh();
        VERIFY_EACH(!run.window().totalHoursLabel->isVisible(), !run.window().totalLabel->isVisible());
        run.closeEditor();
        run.controller().toggleLoading(true);
        QTest::mouseDClick(&run.row(0), Qt::LeftButton, {}, {40, 20});
        run.row(0).edit();
        QCOMPARE(run.edited(), QString());
        // The key is not held back.
        QTest::keyClick(&run.list(), Qt::Key_E);
        QCOMPARE(run.edited(), u"work"_s);
    }

    void keysActOnTheSelectedRow()
    {
        TimesheetRun run{{.notes = "first", .minutes = 5},
                         {.notes = "locked", .minutes = 5, .lockedReason = "Approved"}};
        run.key(Qt::Key_Down);
        for (const Qt::Key held : {Qt::Key_S, Qt::Key_E, Qt::Key_Return}) {
            QKeyEvent again(QEvent::KeyPress, held, {}, QKeySequence(held).toString().toLower(), true);
            QApplication::sendEvent(&run.list(), &again);
            run.settle();
            QCOMPARE(run.requested(), QStringList());
            QCOMPARE(run.edited(), QString());
        }
        run.key(Qt::Key_Down);
        QCOMPARE(run.key(Qt::Key_S), QStringList());
        run.key(Qt::Key_E);
        run.key(Qt::Key_Return);
        QCOMPARE(run.edited(), QString());
    }

    void keysWorkWhereverTheFocusIs()
    {
        TimesheetRun run{{.notes = "first", .minutes = 5}, {.notes = "last", .minutes = 5}};
        timesheet::TimesheetWindow& window = run.window();
        const QStringList toggled{u"GET /daily/timer/"_s + run.row(1).dayEntry()->idString(),
                                  u"GET /daily/15/2013?slim=1"_s};
        for (QWidget* place : {static_cast<QWidget*>(window.backButton), static_cast<QWidget*>(window.forwardButton),
                               static_cast<QWidget*>(window.newTimerButton), window.dailyTimesheetView}) {
            run.list().deselectAll();
            const auto key = [&](Qt::Key key) {
                place->setFocus();
                return run.key(key);
            };
            QCOMPARE(key(Qt::Key_E) + key(Qt::Key_S) + key(Qt::Key_Delete), QStringList());
            VERIFY_EACH(run.edited().isNull(), !openMenu());

            // Who walks through the list is in it from then on; a key that acts on a row leaves the focus.
            key(Qt::Key_Down);
            QCOMPARE(run.list().selectedRow(), 0);
            QVERIFY(run.list().hasFocus());
            key(Qt::Key_End);
            QCOMPARE(run.list().selectedRow(), 1);
            QCOMPARE(key(Qt::Key_S), toggled);
            QCOMPARE(window.focusWidget(), place == window.dailyTimesheetView ? &run.list() : place);
            QCOMPARE(key(Qt::Key_S), toggled);
            key(Qt::Key_E);
            QCOMPARE(run.edited(), u"last"_s);

            // While the sheet is open they are its own.
            for (const char* name : {"saveButton", "datePicker", "notesField"}) {
                window.findChild<QWidget*>(QLatin1StringView(name))->setFocus();
                QCOMPARE(run.key(Qt::Key_S) + run.key(Qt::Key_E) + run.key(Qt::Key_Delete), QStringList());
                QVERIFY(!openMenu());
            }
            window.setFocus(); // as when all that could have it is gone
            QTest::keyClick(&window, Qt::Key_S);
            QTest::keyClick(&window, Qt::Key_Home);
            run.settle();
            QCOMPARE(run.requested(), QStringList());
            QCOMPARE(run.list().selectedRow(), 1);
            run.closeEditor();

            key(Qt::Key_Delete);
            QVERIFY(openMenu());
            QTest::keyClick(openMenu(), Qt::Key_Escape);
            place->setFocus();
            QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, QPoint(), QPoint());
            QApplication::sendEvent(place, &menuKey);
            QVERIFY(openMenu());
            QTest::keyClick(openMenu(), Qt::Key_Escape);
        }

        // Return presses the button, else it edits the chosen row.
        window.backButton->setFocus();
        QCOMPARE(run.key(Qt::Key_Return), QStringList(u"GET /daily/14/2013?slim=1"_s));
        QCOMPARE(run.edited(), QString());
        window.forwardButton->setFocus();
        QCOMPARE(run.key(Qt::Key_Return), QStringList(u"GET /daily/15/2013?slim=1"_s));
        run.list().setSelectedRow(0);
        window.dailyTimesheetView->setFocus();
        run.key(Qt::Key_Return);
        QCOMPARE(run.edited(), u"first"_s);
    }

    void deletesOnlyWhatWasChosen()
    {
        TimesheetRun run{{.notes = "first", .minutes = 5}, {.notes = "second", .minutes = 5}};
        run.key(Qt::Key_End);
        const QString second = run.row(1).dayEntry()->idString();
        // The key alone loses nothing: it opens the menu, ready to.
        QCOMPARE(run.key(Qt::Key_Delete), QStringList());
        QVERIFY(openMenu());
        QCOMPARE(openMenu()->activeAction()->text(), u"Delete Timer"_s);
        QTest::keyClick(openMenu(), Qt::Key_Escape);
        QVERIFY(!openMenu());
        run.key(Qt::Key_Delete);
        QTest::keyClick(openMenu(), Qt::Key_Return);
        run.settle();
        QCOMPARE(run.requested(), QStringList({u"GET /daily/delete/%1"_s.arg(second), u"GET /daily/15/2013?slim=1"_s}));
        QCOMPARE(run.notesShown(), QStringList(u"first"_s));
    }

    void menuActsOnItsEntryWhereverThatIs()
    {
        TimesheetRun run{{.notes = "first", .minutes = 5}, {.notes = "second", .minutes = 5}};
        run.key(Qt::Key_End);
        const QString second = run.row(1).dayEntry()->idString();
        QTest::keyClick(&run.list(), Qt::Key_F10, Qt::ShiftModifier);
        QVERIFY(openMenu());
        const QPointer<QMenu> menu = openMenu();

        // While it is open the first row goes away elsewhere, and a refresh brings that here.
        service::QuillonApi::sharedApi().deleteTimer(*run.controller().dayEntries().at(0));
        run.settle();
        run.refresh();
        QCOMPARE(run.notesShown(), QStringList(u"second"_s));
        VERIFY_EACH(menu, menu->isVisible());
        run.requested();
        menu->actions().at(1)->trigger();
        run.settle();
        QCOMPARE(run.requested().value(0), u"GET /daily/timer/%1"_s.arg(second));
        menu->close();

        // And one whose entry is gone does nothing.
        run.list().setSelectedRow(0);
        QTest::keyClick(&run.list(), Qt::Key_F10, Qt::ShiftModifier);
        const QPointer<QMenu> other = openMenu();
        QVERIFY(other);
        seed::removeAll(*run.service.database().value(), run.person);
        run.refresh();
        QCOMPARE(run.notesShown(), QStringList());
        run.requested();
        other->actions().at(2)->trigger();
        run.settle();
        QCOMPARE(run.requested(), QStringList());
    }

    void opensTheDayInTheBrowser()
    {
        TimesheetRun run{{.minutes = 5, .day = "2013-01-14"}};
        run.click(run.window().backButton);
        run.row(0).viewOnQuillon();
        QCOMPARE(run.test.desktop.opened, QList{QUrl(u"http://acme.localhost:%1/daily/14/2013"_s.arg(run.port))});
        run.controller().viewInQuillonAtRow(1);
        run.controller().viewInQuillonAtRow(7);
        QCOMPARE(run.test.desktop.opened.size(), 1);
    }

    void selectionStaysOnTheRowNumber()
    {
        TimesheetRun run;
        for (const char* day : {"2013-01-15", "2013-01-14"}) {
            for (int i = 0; i < 3; ++i)
                run.add({.minutes = 5, .day = day});
        }
        run.add({.minutes = 5, .day = "2013-01-13"});
        run.open();
        QTest::mouseClick(&run.row(2), Qt::LeftButton, {}, {40, 20});
        run.refresh();
        QCOMPARE(run.list().selectedRow(), 2);
        run.click(run.window().backButton);
        QCOMPARE(run.list().selectedRow(), 2);
        run.click(run.window().backButton);
        QCOMPARE(run.list().selectedRow(), -1);
        run.click(run.window().forwardButton);
        QCOMPARE(run.list().selectedRow(), 2);
    }

    void refreshLeavesTheHandAlone()
    {
        TimesheetRun run;
        for (int i = 0; i < 40; ++i)
            run.add({.notes = "work " + std::to_string(i), .minutes = 5, .running = i == 20});
        run.open();
        timesheet::RLListView& list = run.list();
        list.setScrollOffset(333);
        list.setSelectedRow(6);
        list.setFocus();
        timesheet::TimesheetListViewCell& cell = run.row(6);
        const auto entry = cell.dayEntry();
        QTest::mousePress(cell.startStopButton, Qt::LeftButton);
        QTest::keyClick(&list, Qt::Key_F10, Qt::ShiftModifier);
        const QPointer<QMenu> menu = openMenu();

        // Hours and notes change, the number of rows does not.
        QVERIFY(run.data().renameProject(run.website, "Relaunch"));
        run.refresh();
        run.refresh();
        QCOMPARE(list.scrollOffset(), 333);
        QCOMPARE(list.selectedRow(), 6);
        QCOMPARE(run.window().focusWidget(), &list);
        QCOMPARE(&run.row(6), &cell);
        QCOMPARE(cell.dayEntry(), entry);
        QVERIFY(cell.startStopButton->isDown());
        VERIFY_EACH(menu, menu->isVisible());
        menu->close();
        run.requested();
        QTest::mouseRelease(cell.startStopButton, Qt::LeftButton);
        run.settle();
        QCOMPARE(run.requested().value(0), u"GET /daily/timer/%1"_s.arg(entry->idString()));
    }

    void scrollsOnlyToNewCompany()
    {
        TimesheetRun run;
        for (int i = 0; i < 40; ++i)
            run.add({.minutes = 5});
        run.open();
        timesheet::RLListView& list = run.list();
        QVERIFY(list.visibleRange().contains(39));
        list.setScrollOffset(100);
        run.refresh();
        QCOMPARE(list.scrollOffset(), 100);
        // One more: to the last row, or to the one that runs.
        run.add({.minutes = 5});
        run.refresh();
        QVERIFY(list.visibleRange().contains(40));
        list.setScrollOffset(1000);
        const auto running = run.add({.minutes = 5, .running = true});
        run.refresh();
        QVERIFY(list.visibleRange().contains(
            run.controller().rowOfEntry(*run.menulet->company()->findObject<model::DayEntry>(
                QString::number(running), *run.menulet->managedObjectContext()))));
    }

    void hoursCountOnWhileOneLooks()
    {
        TimesheetRun run{{.minutes = 30}, {.minutes = 65, .running = true}};
        const auto shown = [&] {
            return QStringList{run.row(0).hoursLabel->text(), run.row(1).hoursLabel->text(), run.total()};
        };
        // The answers to the refreshes in between are not heard: what counts on does so by itself.
        run.test.time.advance(3min);
        QCOMPARE(shown(), QStringList({u"0:30"_s, u"1:08"_s, u"1:38"_s}));
        QCOMPARE(QAccessible::queryAccessibleInterface(&run.row(1))->text(QAccessible::Name),
                 run.row(1).accessibleText());
        QVERIFY(run.row(1).accessibleText().contains(u"1 hour 8 minutes"_s));

        // Nothing to do while nobody looks.
        run.window().hide();
        run.test.time.advance(3min);
        QCOMPARE(shown(), QStringList({u"0:30"_s, u"1:08"_s, u"1:38"_s}));
        run.window().show();
        QCOMPARE(shown(), QStringList({u"0:30"_s, u"1:11"_s, u"1:41"_s}));

        // The sum turns at a moment of its own.
        run.row(0).dayEntry()->setHours((30 * 60 + 20) / 3600.0);
        run.controller().reloadEntries();
        run.test.time.advance(11s);
        QCOMPARE(shown(), QStringList({u"0:30"_s, u"1:11"_s, u"1:42"_s}));
    }

    void theLongestTextsFit()
    {
        TimesheetRun run{{.minutes = 7545}};
        timesheet::TimesheetWindow& window = run.window();
        run.click(window.backButton);
        window.resize(window.minimumSize());
        run.controller().setCurrentDate(QDate(2013, 9, 25));
        run.controller().reloadEntries();
        QVERIFY(!window.currentDateLabel->isElided());
        QVERIFY(window.dateAndButtonContainer->geometry().left() > window.forwardButton->geometry().right());
        QVERIFY(!window.totalHoursLabel->isElided());
    }

    void focusStaysBelowTheToolbar()
    {
        TimesheetRun run{{.minutes = 5}};
        QCOMPARE(run.window().focusWidget(), &run.list());
        run.key(Qt::Key_Left, Qt::ControlModifier);
        QCOMPARE(run.window().focusWidget(), run.window().goToQuillonButton);
        run.key(Qt::Key_Right, Qt::ControlModifier);
        QCOMPARE(run.window().focusWidget(), &run.list());
        // But not when it was elsewhere.
        run.window().backButton->setFocus();
        run.key(Qt::Key_Space);
        QCOMPARE(run.window().focusWidget(), run.window().backButton);
    }

    void anAccountThatIsGoneTakesItsEntriesAlong()
    {
        TimesheetRun run{{.minutes = 5, .running = true}};
        run.menulet->clearAllData();
        QCOMPARE(run.controller().dayEntries().size(), 0U);
        QCOMPARE(run.total(), u"0:00"_s);
        run.test.time.advance(2min);
    }

    void comesBackWhereItWas()
    {
        TimesheetRun run;
        run.open();
        run.window().setGeometry(60, 70, 500, 410);
        run.menulet->toggleTimesheetWindow(nullptr);
        run.menulet->toggleTimesheetWindow(nullptr);
        QCOMPARE(run.window().geometry(), QRect(60, 70, 500, 410));
        run.window().setGeometry(80, 90, 520, 430);
        // As at the end of the program, and at its next start.
        run.menulet.reset();
        struct Owner final : timesheet::TimesheetOwner
        {
            void showNewTimerWindow(QObject*) override {}
            void openQuillonInBrowser(QObject*) override {}
            void showPreferencePanel(QObject*) override {}
        } owner;
        const timesheet::TimesheetController next(owner);
        QCOMPARE(next.window().geometry(), QRect(80, 90, 520, 430));
    }

    void neverOpensOffTheScreen()
    {
        // Beyond it, above it, larger, and nonsense.
        for (const QRect& saved :
             {QRect(5000, 4000, 500, 400), QRect(100, -300, 500, 400), QRect(0, 0, 3000, 2000), QRect()}) {
            const support::InRow inRow(QString::number(saved.y()));
            TimesheetRun run;
            auto& defaults = settings::UserDefaults::standardUserDefaults();
            if (saved.isValid()) {
                QWidget other(nullptr, Qt::FramelessWindowHint);
                other.setGeometry(saved);
                defaults.setString("TimesheetWindowFrame"_L1, QString::fromLatin1(other.saveGeometry().toBase64()));
            } else {
                defaults.setString("TimesheetWindowFrame"_L1, u"not a frame"_s);
            }
            run.open();
            const QRect screen = run.window().screen()->availableGeometry();
            QCOMPARE(screen.united(run.window().geometry()), screen);
        }
    }

    void stripWorksTheWindow()
    {
        TimesheetRun run;
        run.open();
        timesheet::TimesheetWindow& window = run.window();
        timesheet::TitleStrip& strip = window.titleStrip();
        QTest::mouseDClick(&strip, Qt::LeftButton, {}, {100, 10});
        QVERIFY(window.isMaximized());
        QCOMPARE(strip.maximizeButton->accessibleName(), u"Restore"_s);
        QTest::mouseDClick(&strip, Qt::LeftButton, {}, {100, 10});
        QVERIFY(!window.isMaximized());
        QTest::mouseClick(strip.maximizeButton, Qt::LeftButton);
        QVERIFY(window.isMaximized());

        QContextMenuEvent menu(QContextMenuEvent::Mouse, {100, 10}, strip.mapToGlobal(QPoint(100, 10)));
        QApplication::sendEvent(&strip, &menu);
        QVERIFY(openMenu());
        QCOMPARE(titles(*openMenu()), QStringList({u"Minimize"_s, u"Restore"_s, u"-"_s, u"Close"_s}));
        openMenu()->actions().at(1)->trigger();
        QVERIFY(!window.isMaximized());
        openMenu()->close();

        QTest::mouseClick(strip.minimizeButton, Qt::LeftButton);
        QVERIFY(window.isMinimized());
        run.menulet->showTimesheetWindow(nullptr);
        QVERIFY(!window.isMinimized());
        QTest::mouseClick(strip.closeButton, Qt::LeftButton);
        QVERIFY(!window.isVisible());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(TimesheetWindowTest)
#include "TimesheetWindowTest.moc"

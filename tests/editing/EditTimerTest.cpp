#include "EditRun.h"

#include "support/InRow.h"
#include "support/TestMain.h"

#include <QCalendarWidget>
#include <QMenu>

using namespace Qt::StringLiterals;

namespace {

const QString ChooseBoth = u"Please select a valid project and task combination and try again."_s;
const QString EndBeforeStart =
    u"End time must be later than start time. Please adjust your timestamps and try again."_s;

/// A body of an update as it goes over the wire. `times`: the elements behind the day.
QByteArray request(const QByteArray& notes, const QByteArray& times, int project = 1, int task = 1,
                   const QByteArray& day = "Tue, 15 Jan 2013")
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n  <id>1</id>\n  <notes>" + notes +
           "</notes>\n  <project_id>" + QByteArray::number(project) + "</project_id>\n  <task_id>" +
           QByteArray::number(task) + "</task_id>\n  <spent_at>" + day + "</spent_at>\n" + times + "</request>\n";
}

/// The sheet is open for the entry that was booked.
struct BookedRun : EditRun
{
    explicit BookedRun(Timers timers = Timers::Hours) : EditRun(timers), id(editBooked()) {}
    const QString id;
};

} // namespace

class EditTimerTest : public QObject
{
    Q_OBJECT

private slots:
    void sendsAnEntryOfHours()
    {
        BookedRun run;
        QCOMPARE(run.task().text(), u"Design"_s);
        QCOMPARE(run.notes().text(), u"First draft"_s);
        QCOMPARE(run.hours().text(), u"1:30"_s);
        QCOMPARE(run.date().date(), QDate(2013, 1, 15));
        QVERIFY(run.find("timestampContainer")->isHidden());
        run.type(run.project(), u"intra"_s);
        run.press(Qt::Key_Tab);
        run.type(run.task(), u"su"_s);
        run.press(Qt::Key_Tab);
        QTest::keyClicks(&run.notes(), u" of R&D"_s); // behind what is there
        QCOMPARE(run.notes().text(), u"First draft of R&D"_s);
        run.type(run.notes(), u"R&D <äöü>"_s);
        run.type(run.hours(), u"2:20"_s);
        run.date().setDate(QDate(2013, 1, 14));
        run.save();
        QCOMPARE(run.sent(), request("R&amp;D &lt;äöü&gt;", "  <hours>2.33</hours>\n", 2, 3, "Mon, 14 Jan 2013"));
        QCOMPARE(run.target, u"/daily/update/1"_s);
    }

    void readsTypedHours()
    {
        BookedRun run;
        const auto* hint = run.find<QLabel>("timeHint");
        QTest::mouseClick(run.find("editHoursButton"), Qt::LeftButton);
        QCOMPARE(run.hours().selectedText(), u"1:30"_s);
        QCOMPARE(run.hours().accessibleName(), u"Hours"_s);
        // Refused whole: what was there stays, and is not sent before that can have been seen.
        run.pasteOver(run.hours(), u"9999999999"_s);
        run.leave();
        QCOMPARE(run.hours().text(), u"1:30"_s);
        QVERIFY(hint->isVisible());
        QCOMPARE(run.hours().accessibleDescription(), u"Type hours with digits and colons only, like 1:30."_s);
        run.save();
        QVERIFY(run.isOpen());
        run.save();
        QCOMPARE(run.sent(), request("First draft", "  <hours>1.50</hours>\n"));
        for (const auto& [typed, shown, sent] :
             {std::tuple{u":45"_s, u"0:45"_s, "  <hours>0.75</hours>\n"}, std::tuple{u"::"_s, u"0:00"_s, ""},
              std::tuple{u""_s, u"0:00"_s, ""}}) {
            run.edit();
            run.type(run.hours(), typed);
            run.leave();
            QCOMPARE(run.hours().text(), shown);
            QVERIFY(!hint->isVisible());
            run.save();
            QCOMPARE(run.sent(), request("First draft", sent));
        }
    }

    void takesAnyNotes()
    {
        for (const QString& notes : {u"👩🏽‍💻 🏳️‍🌈 ☕️"_s, u"one\n\n  three\n"_s,
                                     u"a\u0001b\u001bc"_s, u"All work and no play. "_s.repeated(5000)}) {
            const support::InRow inRow(notes);
            // Without the control characters.
            const QByteArray sent = QString(notes).remove(u'\u0001').remove(u'\u001b').toUtf8();
            BookedRun run;
            run.paste(run.notes(), notes);
            run.press(Qt::Key_Return);
            QCOMPARE(run.sent(), request(sent, "  <hours>1.50</hours>\n"));
            // What the service has is shown, and goes back untouched.
            run.edit();
            run.save();
            QCOMPARE(run.sent(), request(sent, "  <hours>1.50</hours>\n"));
        }
    }

    void untouchedNotesGoBackAsTheyCame()
    {
        EditRun run;
        const QString id = run.book();
        run.answerDay(EditRun::entryElement(id, "<hours>1.5</hours><notes>a&#13;\nb&#x2028;c&#13;d</notes>"));
        run.refresh();
        run.edit();
        run.save();
        QCOMPARE(run.sent(), request("a&#13;\nb\u2028c&#13;d", "  <hours>1.50</hours>\n"));
    }

    void saysWhatIsMissing()
    {
        BookedRun run;
        run.type(run.project(), u"nothing of the kind"_s);
        run.save();
        run.press(Qt::Key_Escape);
        QCOMPARE(run.window()->focusWidget(), &run.project());
        QCOMPARE(run.project().text(), u"nothing of the kind"_s);

        run.type(run.project(), u"website"_s); // by its bare name
        run.press(Qt::Key_Tab);
        run.type(run.task(), u""_s);
        run.save();
        QCOMPARE(run.message(), ChooseBoth);
        run.acknowledge();
        QCOMPARE(run.window()->focusWidget(), &run.task());
        run.type(run.task(), u"meet"_s);
        run.save();
        QVERIFY(!run.isOpen());
        QCOMPARE(run.sent(), request("First draft", "  <hours>1.50</hours>\n", 1, 2));
    }

    void checksTheTimes()
    {
        BookedRun run(EditRun::Timers::Timestamps);
        const auto message = [&run](const QString& start, const QString& end) {
            run.type(run.startTime(), start);
            run.type(run.endTime(), end);
            run.save();
            const QString said = run.message();
            run.acknowledge();
            return said;
        };
        QCOMPARE(message(u"9"_s, u"10:00"_s), u"Please enter a valid start time and try again."_s);
        QCOMPARE(run.window()->focusWidget(), &run.startTime());
        QCOMPARE(run.startTime().text(), u"9"_s);
        QVERIFY(run.find<skin::QuillonTextFieldBackground>("startTimeBackground")->error());
        // The look of the field stays the same: words say it.
        VERIFY_EACH(!run.find<QLabel>("timeHint")->text().isEmpty(),
                    !run.startTime().accessibleDescription().isEmpty());
        run.type(run.startTime(), u"9:15"_s);
        // While a menu has the keyboard, nothing is over.
        QFocusEvent toMenu(QEvent::FocusOut, Qt::PopupFocusReason);
        QCoreApplication::sendEvent(&run.startTime(), &toMenu);
        QCOMPARE(run.startTime().text(), u"9:15"_s);
        run.leave();
        QCOMPARE(run.startTime().text(), u"9:15AM"_s);
        VERIFY_EACH(run.find<QLabel>("timeHint")->text().isEmpty(), run.startTime().accessibleDescription().isEmpty());
        QCOMPARE(run.entry(run.id)->startedAt(), EditRun::moment(9, 15));
        QCOMPARE(message(u"9:00"_s, u"later"_s), u"Please enter a valid end time and try again."_s);
        QCOMPARE(run.window()->focusWidget(), &run.endTime());
        QCOMPARE(message(u"soon"_s, u"later"_s), u"Please enter a valid start time and end time and try again."_s);
        QCOMPARE(message(u"9:00"_s, u"8:59"_s), EndBeforeStart);
        // The project comes first.
        run.type(run.project(), u"x"_s);
        QCOMPARE(message(u"soon"_s, u"later"_s), ChooseBoth);
        run.type(run.project(), u"website"_s);
        run.press(Qt::Key_Tab);
        QCOMPARE(message(u"9:00"_s, u"9:00"_s), QString());
        QVERIFY(!run.isOpen());
        QCOMPARE(run.sent(), request("First draft", "  <started_at>9:00AM</started_at>\n"
                                                    "  <ended_at>9:00AM</ended_at>\n"));
    }

    void keepsAnEndThatIsBeingTyped()
    {
        BookedRun run(EditRun::Timers::Timestamps);
        run.type(run.endTime(), u"8:4"_s);
        run.answerDay(EditRun::entryElement(
            run.id, "<hours>1.0</hours><timer_started_at>Tue, 15 Jan 2013 09:00:00 +0000</timer_started_at>"));
        run.refresh();
        QVERIFY(run.entry(run.id)->isRunning());
        QCOMPARE(run.endTime().text(), u"8:4"_s);
    }

    void fillsTimesThatWereCleared()
    {
        BookedRun run(EditRun::Timers::Timestamps);
        run.type(run.startTime(), u""_s);
        run.leave();
        QCOMPARE(run.startTime().text(), u"7:00AM"_s);
        QVERIFY(run.find<skin::QuillonTextFieldBackground>("startTimeBackground")->error());
        QCOMPARE(run.find<QLabel>("timeHint")->text(), QString());
        run.type(run.endTime(), u"  "_s);
        run.leave();
        QCOMPARE(run.endTime().text(), u"8:30AM"_s);
        run.save();
        QVERIFY(!run.isOpen());
    }

    void keepsAStartThatTheEntryDoesNotHave()
    {
        BookedRun run(EditRun::Timers::Timestamps);
        run.cancel();
        run.entry(run.id)->setStartedAt({});
        run.entry(run.id)->setStoppedAt({});
        run.edit();
        QCOMPARE(run.startTime().text(), u"7:00AM"_s);
        QCOMPARE(run.endTime().text(), QString());
    }

    void cancelsWithoutSending()
    {
        EditRun run(EditRun::Timers::Timestamps);
        const QString id = run.book();
        for (const bool escape : {false, true}) {
            run.edit();
            run.type(run.notes(), u"changed"_s);
            run.type(run.endTime(), u"8:45"_s);
            escape ? run.press(Qt::Key_Escape) : run.cancel();
            QVERIFY(!run.isOpen());
            run.settle();
            QCOMPARE(run.requested(), QStringList());
            QCOMPARE(run.entry(id)->notes(), u"First draft"_s);
            QCOMPARE(run.entry(id)->stoppedAt(), EditRun::moment(8, 30));
        }
        // A time that was checked before stays with the entry here.
        run.edit();
        run.type(run.endTime(), u"8:45"_s);
        run.leave();
        run.cancel();
        QCOMPARE(run.entry(id)->stoppedAt(), EditRun::moment(8, 45));
    }

    void returnAndTab()
    {
        BookedRun run;
        run.type(run.notes(), u"one"_s);
        run.press(Qt::Key_Return, Qt::AltModifier);
        QTest::keyClicks(&run.notes(), u"two"_s);
        run.press(Qt::Key_Enter, Qt::AltModifier | Qt::KeypadModifier);
        QVERIFY(run.isOpen());
        // One that is held down since something else was under the finger saves nothing.
        QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, {}, u"\r"_s, true);
        QApplication::sendEvent(&run.notes(), &held);
        QVERIFY(run.isOpen());
        run.press(Qt::Key_Return);
        QVERIFY(!run.isOpen());
        QCOMPARE(run.sent(), request("one\ntwo\n", "  <hours>1.50</hours>\n"));

        // Anywhere else Return is the default button's.
        run.edit();
        run.type(run.hours(), u"3"_s);
        run.press(Qt::Key_Return);
        QTRY_VERIFY(!run.isOpen());
        QCOMPARE(run.sent(), request("one\ntwo\n", "  <hours>3.00</hours>\n"));
    }

    void takesWhatStandsInAPicker()
    {
        BookedRun run;
        // Save is pressed right there.
        run.type(run.project(), u"intranet"_s);
        QTest::keyClick(run.window()->focusWidget(), Qt::Key_Escape);
        run.save();
        VERIFY_EACH(!run.isOpen(), run.sent().contains("<project_id>2</project_id>"));
    }

    void picksADay()
    {
        BookedRun run;
        editing::DatePicker& date = run.date();
        date.setLocale(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(date.text(), u"Tue, Jan 15, 2013"_s);
        // The day itself is typed first, and one Tab leaves.
        date.setFocus(Qt::TabFocusReason);
        QTest::keyClicks(&date, u"9"_s);
        QCOMPARE(date.currentDate(), QDate(2013, 1, 9));
        run.press(Qt::Key_Tab);
        QCOMPARE(run.window()->focusWidget(), &run.project());
        date.setFocus(Qt::TabFocusReason);
        QTest::keyClick(&date, Qt::Key_Left);
        QTest::keyClick(&date, Qt::Key_Up);
        QCOMPARE(date.date(), QDate(2013, 2, 9));

        QTest::keyClick(&date, Qt::Key_Down, Qt::AltModifier);
        auto* calendar = date.findChild<QCalendarWidget*>();
        VERIFY_EACH(calendar, calendar->isVisible());
        QCOMPARE(calendar->selectedDate(), QDate(2013, 2, 9));
        run.refresh();
        QVERIFY(calendar->isVisible());
        QTest::keyClick(calendar->focusWidget() ? calendar->focusWidget() : calendar, Qt::Key_Right);
        QTest::keyClick(calendar->focusWidget() ? calendar->focusWidget() : calendar, Qt::Key_Return);
        QTRY_VERIFY(!date.findChild<QCalendarWidget*>());
        QCOMPARE(date.date(), QDate(2013, 2, 10));
        // Who scrolls by means something else.
        run.notes().setFocus();
        const QPointF middle(date.rect().center());
        QWheelEvent wheel(middle, date.mapToGlobal(middle), {}, {0, 120}, {}, {}, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&date, &wheel);
        QCOMPARE(date.date(), QDate(2013, 2, 10));
        date.setFocus();
        // It goes with its window, of which the sheet stays as it is.
        QTest::keyClick(&date, Qt::Key_Down, Qt::AltModifier);
        QVERIFY(date.findChild<QCalendarWidget*>()->isVisible());
        run.window()->hide();
        QTRY_VERIFY(!date.findChild<QCalendarWidget*>());
        run.window()->show();
        QVERIFY(run.isOpen());
        run.peer.forgetRequests();
        run.save();
        QCOMPARE(run.sent(), request("First draft", "  <hours>1.50</hours>\n", 1, 1, "Sun, 10 Feb 2013"));
    }

    void survivesRefreshes()
    {
        for (const bool timestamps : {false, true}) {
            const support::InRow inRow(timestamps ? "times" : "hours");
            BookedRun run(timestamps ? EditRun::Timers::Timestamps : EditRun::Timers::Hours);
            int refreshes = 0;
            // Each brings other notes, hours and times for the entry.
            const auto refresh = [&] {
                run.answerDay(EditRun::entryElement(
                    run.id,
                    "<hours>5.0</hours><started_at>1:00am</started_at><ended_at>6:00am</ended_at><notes>Changed " +
                        QByteArray::number(++refreshes) + "</notes>"));
                run.refresh();
                QCOMPARE(run.entry(run.id)->notes(), u"Changed %1"_s.arg(refreshes));
            };
            const auto typeWithRefreshes = [&](QWidget& field, const QString& text) {
                run.type(field, u""_s);
                for (const QChar sign : text) {
                    QTest::keyClicks(&field, QString(sign));
                    const auto* line = qobject_cast<QLineEdit*>(&field);
                    const QString before = line ? line->text() : run.notes().text();
                    const QString selected = line ? line->selectedText() : QString();
                    const int caret = line ? line->cursorPosition() : run.notes().textCursor().position();
                    refresh();
                    QCOMPARE(line ? line->text() : run.notes().text(), before);
                    QCOMPARE(line ? line->selectedText() : QString(), selected);
                    QCOMPARE(line ? line->cursorPosition() : run.notes().textCursor().position(), caret);
                    QCOMPARE(run.window()->focusWidget(), &field);
                    QVERIFY(run.isOpen());
                }
            };
            typeWithRefreshes(run.project(), u"intr"_s);
            QCOMPARE(run.project().text(), u"intranet"_s);
            run.press(Qt::Key_Tab);
            refresh();
            typeWithRefreshes(run.task(), u"sup"_s);
            run.press(Qt::Key_Tab);
            refresh();
            QCOMPARE(run.project().text(), u"Intranet"_s);
            QCOMPARE(run.task().text(), u"Support"_s);
            typeWithRefreshes(run.notes(), u"My own"_s);
            if (timestamps) {
                typeWithRefreshes(run.startTime(), u"7:15"_s);
                typeWithRefreshes(run.endTime(), u"8:45"_s);
            } else {
                typeWithRefreshes(run.hours(), u"1:45"_s);
            }
            run.date().setDate(QDate(2013, 1, 10));
            refresh();
            run.peer.forgetRequests();
            run.save();
            QCOMPARE(run.sent(), request("My own",
                                         timestamps ? "  <hours>1.50</hours>\n"
                                                      "  <started_at>7:15AM</started_at>\n"
                                                      "  <ended_at>8:45AM</ended_at>\n"
                                                    : "  <hours>1.75</hours>\n",
                                         2, 3, "Thu, 10 Jan 2013"));
        }
    }

    void followsATimerThatStops()
    {
        EditRun run(EditRun::Timers::Timestamps);
        const QString id = run.startTimer();
        run.edit();
        QVERIFY(!run.endTime().isEnabled());
        run.answerDay(EditRun::entryElement(id, "<hours>1.0</hours><started_at>9:00am</started_at>"
                                                "<ended_at>10:00am</ended_at><notes>Running</notes>"));
        run.refresh();
        QVERIFY(run.endTime().isEnabled());
        QCOMPARE(run.endTime().text(), u"10:00AM"_s);

        // Others correct it, until something is typed here.
        const auto correct = [&](const QByteArray& from, const QByteArray& to) {
            run.answerDay(EditRun::entryElement(id, "<hours>1.0</hours><started_at>" + from +
                                                        "</started_at><ended_at>" + to + "</ended_at>"));
            run.refresh();
        };
        correct("8:45am", "10:30am");
        QCOMPARE(run.startTime().text(), u"8:45AM"_s);
        QCOMPARE(run.endTime().text(), u"10:30AM"_s);
        run.type(run.endTime(), u"11:00am"_s);
        run.startTime().setFocus();
        correct("8:50am", "10:40am");
        QCOMPARE(run.startTime().text(), u"8:50AM"_s);
        QCOMPARE(run.endTime().text(), u"11:00AM"_s);

        run.answerDay(EditRun::entryElement(
            id,
            "<hours>1.0</hours><hours_without_timer>1.0</hours_without_timer><started_at>9:00am</started_at><ended_at>"
            "10:00am</ended_at><timer_started_at>Tue, 15 Jan 2013 09:00:00 +0000</timer_started_at>"));
        run.refresh();
        QVERIFY(!run.endTime().isEnabled());
        QCOMPARE(run.endTime().text(), QString());
    }

    void neverSavesADeletedEntry()
    {
        for (const EditRun::Timers timers : {EditRun::Timers::Hours, EditRun::Timers::Timestamps}) {
            BookedRun run(timers);
            run.type(run.notes(), u"All that I did"_s);
            if (timers == EditRun::Timers::Timestamps) {
                run.type(run.endTime(), u"8:45"_s);
                run.leave(); // the entry has a change that is not saved
            }
            run.answerDay({});
            run.refresh();
            VERIFY_EACH(!run.entry(run.id), run.isOpen());
            QCOMPARE(run.notes().text(), u"All that I did"_s);
            for (QLineEdit* field : {&run.hours(), &run.startTime(), &run.endTime()}) {
                field->setFocus(Qt::TabFocusReason);
                run.press(Qt::Key_Tab);
            }
            run.peer.forgetRequests();
            run.save();
            QVERIFY(run.message().startsWith(u"This timer has been deleted in the meantime."_s));
            run.press(Qt::Key_Return);
            QTRY_COMPARE(run.message(), QString());
            run.settle();
            QCOMPARE(run.requested(), QStringList());
            run.press(Qt::Key_Escape);
            QVERIFY(!run.isOpen());
            run.answerDay({});
            run.refresh();
            QVERIFY(!run.entry(run.id));
        }
    }

    void neverSavesALockedEntry()
    {
        BookedRun run;
        run.type(run.hours(), u"4"_s);
        QVERIFY(run.data().lockEntry(run.id.toLongLong(), "Approved by Kim."));
        run.refresh();
        run.peer.forgetRequests();
        run.save();
        QCOMPARE(run.message(),
                 u"This timer has been locked in the meantime and can no longer be changed. Approved by Kim."_s);
        run.acknowledge();
        QCOMPARE(run.hours().text(), u"4"_s);
        QVERIFY(run.data().lockEntry(run.id.toLongLong(), ""));
        run.refresh();
        run.peer.forgetRequests();
        run.save();
        QCOMPARE(run.sent(), request("First draft", "  <hours>4.00</hours>\n"));
    }

    void outlivesTheAccount()
    {
        BookedRun run;
        run.type(run.project(), u"in"_s);
        run.menulet->clearAllData();
        QCoreApplication::processEvents();
        QVERIFY(run.isOpen());
        QCOMPARE(run.project().text(), u"intranet"_s);
        run.press(Qt::Key_Down);
        run.press(Qt::Key_Tab);
        run.save();
        QVERIFY(!run.message().isEmpty());
        run.acknowledge();
        run.cancel();
        QVERIFY(!run.isOpen());
        QCOMPARE(run.sent(), QByteArray());
    }

    void keepsWhatCouldNotBeSaved()
    {
        for (const QString& then :
             {u"hours"_s, u"times"_s, u"html"_s, u"404"_s, u"cancel"_s, u"change"_s, u"sign out"_s}) {
            const support::InRow inRow(then);
            const bool timestamps = then == u"times";
            const bool kept = timestamps || then == u"hours" || then == u"html";
            EditRun run(timestamps ? EditRun::Timers::Timestamps : EditRun::Timers::Hours);
            const QString id = run.book();
            const QString other = run.book(u"Second"_s);
            const support::Reply failure{500, "<hash><message>No</message></hash>"};
            const support::Reply page{200, "<!DOCTYPE html><html></html>"};
            const support::Reply gone{404, "<hash><message>No</message></hash>"};
            // The service fails both, and has what it had before.
            run.peer.answer("POST /daily/update/" + id.toStdString(), {then == u"html"  ? page
                                                                       : then == u"404" ? gone
                                                                                        : failure});
            run.peer.answer("POST /daily/update/" + other.toStdString(), {failure});
            run.edit();
            run.type(run.project(), u"intra"_s);
            run.press(Qt::Key_Tab);
            run.type(run.task(), u"su"_s);
            run.press(Qt::Key_Tab);
            run.type(run.notes(), u"All that I did"_s);
            timestamps ? run.type(run.startTime(), u"6:15"_s) : run.type(run.hours(), u"2:20"_s);
            run.date().setDate(QDate(2013, 1, 14));
            run.save();
            run.settle();
            QCOMPARE(model::localDay(run.entry(id)->spentAt()).day(), 15);
            QVERIFY(!run.menulet->managedObjectContext()->hasChanges());
            run.edit(1);
            run.type(run.notes(), u"Another"_s);
            run.save();
            run.settle();
            if (then == u"change")
                run.answerDay(EditRun::entryElement(id, "<hours>1.5</hours><notes>Changed</notes>"
                                                        "<updated_at>Tue, 15 Jan 2013 09:30:00 +0000</updated_at>"));
            run.refresh();
            QCOMPARE(run.entry(id)->notes(), then == u"change" ? u"Changed"_s : u"First draft"_s);
            if (then == u"sign out") {
                run.menulet->clearAllData();
                run.menulet->initializeQuillonData();
                service::QuillonApi::sharedApi().requestDailyTimesheetForDate(QDate(2013, 1, 15), true);
                run.settle();
            }
            run.edit();
            if (then == u"cancel") {
                QCOMPARE(run.notes().text(), u"All that I did"_s);
                run.cancel();
                run.edit();
            }
            if (!kept) {
                QVERIFY(run.notes().text() != u"All that I did"_s);
            } else {
                QCOMPARE(run.date().date(), QDate(2013, 1, 14));
                run.save();
                QCOMPARE(run.sent(), request("All that I did",
                                             timestamps ? "  <hours>2.25</hours>\n"
                                                          "  <started_at>6:15AM</started_at>\n"
                                                          "  <ended_at>8:30AM</ended_at>\n"
                                                        : "  <hours>2.33</hours>\n",
                                             2, 3, "Mon, 14 Jan 2013"));
                // The other one waits as well, by now the only one of its day; its hours, not typed, have gone on.
                run.entry(other)->setHours(1.75);
                run.edit();
                QCOMPARE(run.notes().text(), u"Another"_s);
                QCOMPARE(run.hours().text(), u"1:45"_s);
            }
        }
    }

    void losesAProjectThatIsGone()
    {
        BookedRun run;
        run.type(run.project(), u"intranet"_s);
        run.press(Qt::Key_Tab);
        QVERIFY(run.data().setProjectActive(run.intranet, false));
        service::QuillonApi::sharedApi().requestDailyTimesheetForDate(QDate(2013, 1, 15), true);
        run.settle();
        QCOMPARE(run.project().text(), u"Intranet"_s);
        run.peer.forgetRequests();
        run.save();
        QCOMPARE(run.message(), ChooseBoth);
        QCOMPARE(run.sent(), QByteArray());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(EditTimerTest)
#include "EditTimerTest.moc"

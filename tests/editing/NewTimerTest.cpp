#include "../app/AppRun.h"

#include "editing/HUDCheckBox.h"
#include "editing/HintLabel.h"
#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
#include "editing/TextFields.h"
#include "skin/LinkButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonTextFieldBackground.h"
#include "support/InRow.h"
#include "support/TestMain.h"

#include <QAccessible>
#include <QClipboard>
#include <QTextBlock>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The program with the window for a new timer open. Besides "[W1] Website" (Design, Meetings) there are "Garden"
/// (Meetings, Weeding) and "Attic", which has no tasks.
class NewTimerRun : public AppRun
{
public:
    NewTimerRun()
    {
        support::TestData data = this->data();
        const localservice::Id zoo = data.addClient(account, "Zoo").value();
        garden = data.addProject({zoo, "Garden"}).value();
        attic = data.addProject({zoo, "Attic"}).value();
        for (const char* name : {"Meetings", "Weeding"})
            data.offerTask(garden, data.addTask(account, name).value(), true).value();
        for (const localservice::Id project : {garden, attic})
            data.assignPerson(project, person).value();
        start();
        open();
        requested();
    }

    void open()
    {
        menulet->showNewTimerWindow(nullptr);
        window = &menulet->addTimerController()->window();
        // Off screen a window that comes back is not told that it is active again, even if it asks for it.
        QT_WARNING_PUSH
        QT_WARNING_DISABLE_DEPRECATED
        QApplication::setActiveWindow(window);
        QT_WARNING_POP
    }

    QLineEdit* field(const char* label) const
    {
        for (auto* line : window->findChildren<QLineEdit*>()) {
            if (line->accessibleName() == QLatin1StringView(label))
                return line;
        }
        return nullptr;
    }
    QLineEdit* project() const { return field("Project"); }
    QLineEdit* task() const { return field("Task"); }
    bool error(const QLineEdit* picker) const
    {
        return static_cast<skin::QuillonTextFieldBackground*>(picker->parentWidget())->error();
    }
    QString focus() const { return window->focusWidget() ? window->focusWidget()->accessibleName() : QString(); }
    /// "Start", "Save (off)"
    QString button() const
    {
        return window->saveButton->text() + (window->saveButton->isEnabled() ? QString() : u" (off)"_s);
    }

    void key(int key, Qt::KeyboardModifiers modifiers = {})
    {
        ++keys;
        QTest::keyClick(window->focusWidget(), Qt::Key(key), modifiers);
    }
    void type(const QString& text)
    {
        for (const QChar sign : text) {
            ++keys;
            QTest::keyClick(window->focusWidget(), sign.toLatin1());
        }
    }
    void choose(const QString& projectText, const QString& taskText)
    {
        project()->setFocus();
        project()->selectAll();
        type(projectText);
        key(Qt::Key_Tab);
        if (taskText.isEmpty())
            return;
        task()->selectAll();
        type(taskText);
        key(Qt::Key_Tab);
    }

    QString hint() const
    {
        const auto* label = window->durationHint;
        return QAccessible::queryAccessibleInterface(window->durationHint)->text(QAccessible::Name) == label->text()
                   ? label->text()
                   : u"said otherwise"_s;
    }

    /// The bodies of the timers asked for.
    std::vector<std::string> sent()
    {
        settle();
        std::vector<std::string> bodies;
        for (const support::Request& request : peer.requests()) {
            if (request.method == "POST" && request.target == "/daily/add")
                bodies.push_back(request.body);
        }
        return bodies;
    }
    static std::string body(const std::string& inner)
    {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n" + inner + "</request>\n";
    }

    localservice::Id garden = 0;
    localservice::Id attic = 0;
    editing::NewTimerPanel* window = nullptr;
    int keys = 0;
};

} // namespace

class NewTimerTest : public QObject
{
    Q_OBJECT

private slots:
    /// Made on its page, it is chosen without typing it again.
    void offersUnknownProject()
    {
        NewTimerRun run;
        settings::QuillonPreferences& preferences = settings::QuillonPreferences::sharedPreferences();
        preferences.keepTimeHere(preferences.credentials());
        const int height = run.window->height();
        skin::LinkButton& link = *run.window->newProjectLink;
        run.project()->setFocus();
        run.project()->selectAll();
        run.type(u"Quay & Co"_s);
        VERIFY_EACH(link.isVisible(), run.window->height() > height);
        QCOMPARE(link.text(), u"New project “Quay & Co”…"_s);
        QTest::keyClick(&link, Qt::Key_Space);
        QCOMPARE(run.test.desktop.opened.size(), 1);
        QCOMPARE(run.test.desktop.opened.front().path(), u"/projects/new"_s);
        QCOMPARE(run.test.desktop.opened.front().query(QUrl::FullyDecoded), u"name=Quay & Co"_s);

        support::TestData data = run.data();
        const localservice::Id quay = data.addProject({run.client, "Quay & Co"}).value();
        data.offerTask(quay, run.design, true).value();
        data.assignPerson(quay, run.person).value();
        run.test.time.advance(1500ms);
        run.settle();
        QCOMPARE(run.project()->text(), u"Quay & Co"_s);
        QCOMPARE(run.task()->text(), u"Design"_s);
        QVERIFY(!link.isVisible());
        QCOMPARE(run.window->height(), height);
        run.window->showDurationCheckButton->toggle();
        const QLineEdit& duration = *run.window->durationTextField;
        QTRY_COMPARE(duration.visibleRegion().boundingRect(), duration.rect());
        run.window->showDurationCheckButton->toggle();

        // Elsewhere only the list of projects is known. Nobody waits for ever, nor once the window is closed.
        preferences.keepTimeElsewhere();
        run.project()->setFocus();
        run.project()->selectAll();
        run.type(u"q"_s);
        run.type(u"x"_s);
        QCOMPARE(link.text(), u"Manage Projects"_s);
        link.click();
        QCOMPARE(run.test.desktop.opened.back().path(), u"/projects"_s);
        for (int quarter = 0; quarter < 21; ++quarter) {
            run.requested();
            run.test.time.advance(15s);
            run.settle();
        }
        QVERIFY(!run.requested().contains(u"GET /daily?slim=1"_s));
        link.click();
        run.menulet->addTimerController()->hide();
        run.requested();
        run.test.time.advance(3s);
        run.settle();
        QCOMPARE(run.requested(), QStringList());
    }

    void longNotesStayWhatTheyAre()
    {
        editing::NotesField field(editing::Look::Light);
        const QString notes = u"word "_s.repeated(1000) + u"\nend"_s;
        field.setText(notes);
        QCOMPARE(field.blockCount(), 3);
        field.selectAll();
        QTest::keyClick(&field, Qt::Key_Delete);
        QCOMPARE(field.text(), QString());
        field.undo();
        QVERIFY(field.text() == notes);

        QTextCursor inside(field.document()->findBlockByNumber(1));
        inside.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, 5);
        field.setTextCursor(inside);
        field.insertLineBreak();
        QGuiApplication::clipboard()->setText(u"a\nb"_s);
        field.paste();
        QVERIFY(field.text() == QString(notes).insert(2005, u"\na\nb"_s));
        field.undo();
        field.undo();
        QVERIFY(field.text() == notes);
        // However their lines end, in a long piece and in a short one.
        field.setText(QString(notes).replace(u'\n', u"\r\n"_s) + u"\r\n\r\n1\r2\n"_s);
        QVERIFY(field.text() == notes + u"\n\n1\n2\n"_s);
    }

    void startsAKnownTaskInAFewKeys()
    {
        NewTimerRun run;
        QCOMPARE(run.focus(), u"Project");
        run.type(u"ga"_s);
        run.key(Qt::Key_Tab);
        run.type(u"we"_s);
        run.key(Qt::Key_Tab);
        run.type(u"beds"_s);
        QCOMPARE(run.button(), u"Start");
        run.key(Qt::Key_Return);
        QCOMPARE(run.keys, 11);
        QVERIFY(!run.window->isVisible());
        const std::vector<std::string> sent = run.sent();
        QCOMPARE(sent.size(), 1U);
        QCOMPARE(sent[0], NewTimerRun::body("  <notes>beds</notes>\n  <project_id>" + std::to_string(run.garden) +
                                            "</project_id>\n  <task_id>4</task_id>\n"
                                            "  <spent_at>Tue, 15 Jan 2013</spent_at>\n"));
        QCOMPARE(run.face(), u"0:00 running");
        QCOMPARE(run.view().accessibleName(), u"0 minutes, running, Garden, Weeding");

        // The next time it offers what was worked on last, ready to be typed over.
        run.open();
        QCOMPARE(run.project()->selectedText(), u"Garden");
        QCOMPARE(run.task()->text(), u"Weeding");
        // Also when the first sheet of the day comes in after it.
        run.menulet->addTimerController()->setEntry(model::DayEntry::entryWithDefaults());
        QCOMPARE(run.project()->selectedText(), u"Garden");
        QCOMPARE(run.window->notesText->text(), QString());
        QCOMPARE(run.button(), u"Start");
        // It stays selected where the window gets the keyboard only for a moment.
        run.window->hide();
        QEvent activated(QEvent::WindowActivate);
        QApplication::sendEvent(run.project(), &activated);
        QApplication::processEvents();
        QCOMPARE(run.project()->selectedText(), u"Garden");
    }

    void booksDurations()
    {
        for (const auto& [duration, button, booked] :
             {std::tuple{u"1:30"_s, u"Save"_s, "1.50"}, std::tuple{u"1:5"_s, u"Save"_s, "1.08"},
              std::tuple{u":"_s, u"Save"_s, ""}, std::tuple{u"1,5"_s, u"Start"_s, ""},
              std::tuple{QString(10240, u'9'), u"Start"_s, ""}}) {
            const support::InRow inRow(duration);
            const std::string hours = *booked ? "  <hours>" + std::string(booked) + "</hours>\n" : std::string();
            NewTimerRun run;
            run.choose(u"web"_s, u"mee"_s);
            run.key(Qt::Key_D, Qt::AltModifier);
            QGuiApplication::clipboard()->setText(duration);
            run.key(Qt::Key_V, Qt::ControlModifier);
            const bool refused = button == u"Start";
            QCOMPARE(run.window->durationTextField->text(), refused ? QString() : duration);
            QCOMPARE(run.hint(), refused         ? u"digits and colons only, like 1:30"_s
                                 : hours.empty() ? u"no duration: a timer starts"_s
                                                 : u"hours, like 1:30"_s);
            QCOMPARE(run.button(), button);
            if (refused) {
                QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
                QVERIFY(run.sent().empty());
            }
            QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
            const std::vector<std::string> sent = run.sent();
            QCOMPARE(sent.size(), 1U);
            QCOMPARE(sent[0], NewTimerRun::body("  <notes></notes>\n  <project_id>" + std::to_string(run.website) +
                                                "</project_id>\n  <task_id>2</task_id>\n"
                                                "  <spent_at>Tue, 15 Jan 2013</spent_at>\n" +
                                                hours));
        }
    }

    void saysWhatItRefuses()
    {
        NewTimerRun run;
        run.choose(u"web"_s, u"mee"_s);
        run.key(Qt::Key_D, Qt::AltModifier);
        QLineEdit& field = *run.window->durationTextField;
        const QString refused = u"digits and colons only, like 1:30"_s;
        // Typed on without a look, and Return at once: nothing goes out before it could be seen.
        run.type(u"1.5"_s);
        QCOMPARE(run.hint(), refused);
        QCOMPARE(field.accessibleDescription(), refused);
        QCOMPARE(field.text(), u"15");
        run.key(Qt::Key_Return);
        QCOMPARE(field.text(), QString());
        QCOMPARE(run.hint(), refused);
        QVERIFY(run.sent().empty());
        run.type(u"3"_s);
        QCOMPARE(run.hint(), u"hours, like 1:30");
        run.type(u"h"_s);
        QCOMPARE(run.hint(), refused);
        run.type(u":30h"_s);
        run.window->notesText->setFocus();
        QCOMPARE(field.text(), u"3:30");
        // By the button no more than by Return.
        field.setFocus();
        field.selectAll();
        run.type(u"90m"_s);
        QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
        QCOMPARE(run.focus(), u"Duration");
        QCOMPARE(field.selectedText(), u"3:30");
        QCOMPARE(run.hint(), refused);
        QVERIFY(run.sent().empty());
        run.type(u"1:5"_s);
        QCOMPARE(run.hint(), u"hours, like 1:30");
        QCOMPARE(field.accessibleDescription(), u"hours, like 1:30");

        // What assistive technology sets is no exception, and what stood there stays.
        QAccessible::queryAccessibleInterface(&field)->editableTextInterface()->replaceText(0, 3, u"90m"_s);
        QCOMPARE(field.text(), u"1:5");
        QCOMPARE(run.hint(), refused);
        QAccessible::queryAccessibleInterface(&field)->editableTextInterface()->replaceText(0, 3, u"2:5"_s);
        QCOMPARE(run.hint(), u"hours, like 1:30");
        // Left: it shows as all hours do. Without text it stays so.
        run.window->notesText->setFocus();
        QCOMPARE(field.text(), u"2:05");
        field.setFocus();
        field.selectAll();
        run.key(Qt::Key_Delete);
        run.key(Qt::Key_Backtab);
        QCOMPARE(field.text(), QString());
        QCOMPARE(run.button(), u"Start");
    }

    void returnKey()
    {
        // `then`: where the focus is, or "sent".
        for (const auto& [in, durationBox, taskChosen, then] :
             {std::tuple{u"Notes"_s, false, true, u"sent"_s}, std::tuple{u"Notes"_s, true, true, u"Duration"_s},
              std::tuple{u"Notes"_s, false, false, u"Notes"_s}, std::tuple{u"Notes"_s, true, false, u"Duration"_s},
              std::tuple{u"Duration"_s, true, true, u"sent"_s}, std::tuple{u"Duration"_s, true, false, u"Duration"_s},
              std::tuple{u"Project"_s, false, true, u"Task"_s}, std::tuple{u"Project"_s, true, true, u"Duration"_s},
              std::tuple{u"Task"_s, false, true, u"Notes"_s}, std::tuple{u"Task"_s, true, true, u"Duration"_s}}) {
            const support::InRow inRow(in + (durationBox ? u", box"_s : QString()) +
                                       (taskChosen ? QString() : u", no task"_s));
            NewTimerRun run;
            taskChosen ? run.choose(u"web"_s, u"mee"_s) : run.choose(u"attic"_s, {});
            QCOMPARE(run.button(), taskChosen ? u"Start"_s : u"Start (off)"_s);
            if (durationBox)
                QTest::mouseClick(run.window->showDurationCheckButton, Qt::LeftButton);
            QWidget* field = in == u"Notes" ? static_cast<QWidget*>(run.window->notesText) : run.field(in.toLatin1());
            field->setFocus();
            run.key(Qt::Key_Return);
            QCOMPARE(run.window->isVisible() ? run.focus() : u"sent"_s, then);
            QCOMPARE(run.sent().size(), then == u"sent" ? 1U : 0U);
        }
    }

    void taskFollowsTheProject()
    {
        NewTimerRun run;
        run.choose(u"web"_s, u"meet"_s);
        run.choose(u"gard"_s, {});
        QCOMPARE(run.task()->text(), u"Meetings"); // of the same name, another task
        run.choose(u"web"_s, u"des"_s);
        run.choose(u"gard"_s, {});
        QCOMPARE(run.task()->text(), u"Meetings"); // the first
        QCOMPARE(run.button(), u"Start");
        run.choose(u"att"_s, {});
        QCOMPARE(run.button(), u"Start (off)");
        QCOMPARE(run.task()->text(), u"Meetings");
        run.key(Qt::Key_Tab);
        VERIFY_EACH(run.error(run.task()), !run.error(run.project()));
        QCOMPARE(run.task()->accessibleDescription(), u"No task chosen");
    }

    void anEmptyFieldIsNoErrorAtFirst()
    {
        NewTimerRun run;
        for (int times = 0; times < 2; ++times) {
            run.key(Qt::Key_Tab);
            QVERIFY(!run.error(run.project()));
            run.project()->setFocus();
            run.key(Qt::Key_Tab);
            QVERIFY(run.error(run.project()));
            run.key(Qt::Key_Escape);
            QVERIFY(!run.window->isVisible());
            run.open();
            VERIFY_EACH(!run.error(run.project()), !run.error(run.task()));
            QCOMPARE(run.focus(), u"Project");
        }
        // What is left of a text that was no choice does not look like one.
        run.type(u"nothing"_s);
        run.key(Qt::Key_Tab);
        run.key(Qt::Key_Escape);
        run.open();
        QCOMPARE(run.project()->text(), QString());
    }

    void durationBox()
    {
        NewTimerRun run;
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        const QRect before = run.window->geometry();
        QTest::mouseClick(run.window->showDurationCheckButton, Qt::LeftButton);
        QTRY_COMPARE(run.window->geometry(), before.adjusted(0, 0, 0, 29));
        QVERIFY(!defaults.boolForKey("QuillonDurationBoxOpen"_L1));
        run.key(Qt::Key_Escape);
        QVERIFY(settings::UserDefaults().boolForKey("QuillonDurationBoxOpen"_L1)); // on disk
        {
            const editing::NewTimerController next;
            VERIFY_EACH(!next.durationBoxClosed(), next.window().showDurationCheckButton->isChecked());
            QCOMPARE(next.window().height(), before.height() + 29);
        }

        // Its key leads into it, open or not, and what is typed at once is there.
        run.open();
        run.window->notesText->setFocus();
        for (const char* typed : {"1:", "30"}) {
            run.key(Qt::Key_D, Qt::AltModifier);
            run.type(QString::fromLatin1(typed));
            QCOMPARE(run.focus(), u"Duration");
            QVERIFY(run.window->durationHint->isVisible());
        }
        QCOMPARE(run.window->notesText->text(), QString());
        QCOMPARE(run.window->durationTextField->text(), u"1:30");
        // What is left in it when it closes is seen all the same.
        editing::HUDCheckBox& check = *run.window->showDurationCheckButton;
        const auto title = [&check] { return QAccessible::queryAccessibleInterface(&check)->text(QAccessible::Name); };
        QCOMPARE(title(), u"Enter duration");
        const auto toggle = [&check] {
            QAccessible::queryAccessibleInterface(&check)->actionInterface()->doAction(
                QAccessibleActionInterface::toggleAction());
        };
        toggle();
        QVERIFY(!run.window->durationHint->isVisible());
        QCOMPARE(title(), u"Enter duration (1:30)");
        QVERIFY(check.width() >= check.sizeHint().width());
        QCOMPARE(run.button(), u"Save (off)");
        toggle();
        QVERIFY(run.window->durationHint->isVisible());
        QCOMPARE(run.focus(), u"Duration");
        QCOMPARE(title(), u"Enter duration");
        run.key(Qt::Key_Escape);

        // Closed and opened in one go, while it still moves.
        run.open();
        QTest::mouseClick(run.window->showDurationCheckButton, Qt::LeftButton);
        QTest::mouseClick(run.window->showDurationCheckButton, Qt::LeftButton);
        QTest::mouseClick(run.window->showDurationCheckButton, Qt::LeftButton);
        QVERIFY(!run.window->durationHint->isVisible());
        QTRY_COMPARE(run.window->height(), before.height());
        QVERIFY(run.window->close()); // whoever ends the session is not held up
        VERIFY_EACH(!settings::UserDefaults().boolForKey("QuillonDurationBoxOpen"_L1), !run.window->isVisible());
    }

    void oneTimerForADoubleClick()
    {
        NewTimerRun run;
        run.choose(u"web"_s, u"mee"_s);
        QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
        QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
        QTest::mouseDClick(run.window->saveButton, Qt::LeftButton);
        run.window->notesText->setFocus();
        run.key(Qt::Key_Return);
        QCOMPARE(run.button(), u"Start");
        QVERIFY(run.window->isVisible()); // until the service has said yes
        QCOMPARE(run.sent().size(), 1U);
        QVERIFY(!run.window->isVisible());
    }

    void startsAgainHoweverTheLastOneEnded()
    {
        for (const support::Reply& reply : {support::Reply{200, "<!DOCTYPE html><html><body>Sign in</body></html>"},
                                            support::Reply{401, "Authentication failed for API request."},
                                            support::Reply{500, "<hash><message>No</message></hash>"},
                                            support::Reply{500, "oops"}, support::Reply{503, "busy"}}) {
            const support::InRow inRow(QString::fromStdString(reply.body));
            const bool patience = reply.status == 503; // tried again for five minutes
            NewTimerRun run;
            const support::Reply no{500, "<hash><message>No</message></hash>"};
            run.peer.answer("POST /daily/add", {reply, patience ? no : reply, no});
            run.test.time.blockSleeps();
            run.choose(u"web"_s, u"mee"_s);
            run.type(u"notes"_s);
            QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
            if (patience) {
                // What other requests say is not about this one, and changing something starts no second timer.
                QTRY_COMPARE(run.test.time.sleeping(), 1);
                run.menulet->authenticationFailed();
                run.menulet->startNewTimerDidFailWithError({});
                run.menulet->allRequestsProcessed();
                run.window->notesText->setFocus();
                run.type(u"!"_s);
                QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
                run.window->notesText->setFocus();
                run.key(Qt::Key_Return);
                QVERIFY(run.window->isVisible());
                run.test.time.advance(std::chrono::seconds(300));
            }
            const std::size_t attempts = patience ? 2 : 1;
            QCOMPARE(run.sent().size(), attempts);
            QVERIFY(run.window->isVisible());
            // By Return it comes back with everything.
            run.window->notesText->setFocus();
            run.key(Qt::Key_Return);
            QVERIFY(!run.window->isVisible());
            QCOMPARE(run.sent().size(), attempts + 1);
            QVERIFY(run.window->isVisible());
            QCOMPARE(run.window->notesText->text(), patience ? u"notes!"_s : u"notes"_s);
            QCOMPARE(run.task()->text(), u"Meetings");
            QCOMPARE(run.focus(), u"Notes");
            run.key(Qt::Key_Return);
            run.settle();
            if (!patience)
                run.key(Qt::Key_Return);
            QCOMPARE(run.sent().size(), 4U);
            QVERIFY(!run.window->isVisible());
        }
    }

    void severalStartsUnderWay()
    {
        NewTimerRun run;
        const support::Reply no{500, "<hash><message>No</message></hash>"};
        run.peer.answer("POST /daily/add", {support::Reply{503, ""}, no});
        run.test.time.blockSleeps();
        run.choose(u"web"_s, u"mee"_s);
        run.type(u"first"_s);
        run.key(Qt::Key_D, Qt::AltModifier);
        run.type(u"2"_s);
        run.key(Qt::Key_Return);
        QTRY_COMPARE(run.test.time.sleeping(), 1);
        run.open();
        QCOMPARE(run.window->notesText->text(), QString());
        QCOMPARE(run.window->durationTextField->text(), QString());
        run.choose(u"gard"_s, u"we"_s);
        run.type(u"second"_s);
        // A start of somebody else.
        service::QuillonApi::sharedApi().startNewTimer(run.newEntry(u"Design"_s));
        run.test.time.advance(std::chrono::seconds(300));
        run.settle();
        QCOMPARE(run.window->notesText->text(), u"second");
        QVERIFY(run.window->isVisible());
        QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
        run.settle();
        QVERIFY(!run.window->isVisible());
        // Now there is room for the one that was not started.
        run.open();
        QCOMPARE(run.window->notesText->text(), u"first");
        QCOMPARE(run.project()->text(), u"[W1] Website");
        QCOMPARE(run.task()->text(), u"Meetings");
        QCOMPARE(run.window->durationTextField->text(), u"2:00");
        // One that was cancelled does not come back.
        run.peer.answer("POST /daily/add", {no});
        QTest::mouseClick(run.window->saveButton, Qt::LeftButton);
        run.key(Qt::Key_Escape);
        run.settle();
        QVERIFY(!run.window->isVisible());
        // Nor does one of another account.
        run.open();
        run.choose(u"web"_s, u"mee"_s);
        run.peer.answer("POST /daily/add", {no});
        run.window->durationTextField->setFocus();
        run.key(Qt::Key_Return);
        QVERIFY(!run.window->isVisible());
        run.menulet->clearAllData();
        run.settle();
        QVERIFY(!run.window->isVisible());
        run.open();
        QCOMPARE(run.window->notesText->text(), QString());
    }

    void showingItAgainTakesNothingAway()
    {
        NewTimerRun run;
        run.choose(u"web"_s, u"mee"_s);
        run.type(u"half"_s);
        run.key(Qt::Key_Return, Qt::AltModifier);
        run.key(Qt::Key_Enter, Qt::ShiftModifier | Qt::KeypadModifier);
        run.type(u"a th"_s);
        const QPoint chosen = run.window->pos() + QPoint(20, 10);
        run.window->move(chosen);
        run.open();
        QCOMPARE(run.window->pos(), chosen);
        QCOMPARE(run.focus(), u"Notes");
        run.type(u"ought"_s);
        QCOMPARE(run.window->notesText->text(), u"half\n\na thought");
        QCOMPARE(run.button(), u"Start");
        // Cancelled is cancelled.
        QTest::mouseClick(run.window->cancelButton, Qt::LeftButton);
        QVERIFY(!run.window->isVisible());
        run.open();
        QCOMPARE(run.window->notesText->text(), QString());
        QVERIFY(run.sent().empty());
    }

    void clearedWithTheAccount()
    {
        NewTimerRun run;
        run.choose(u"web"_s, u"mee"_s);
        run.type(u"notes"_s);
        run.menulet->clearAllData();
        QCOMPARE(run.project()->text() + run.task()->text() + run.window->notesText->text(), QString());
        VERIFY_EACH(!run.project()->isEnabled(), !run.task()->isEnabled(), !run.window->notesText->isEnabled());
        QCOMPARE(run.button(), u"Start (off)");
        run.menulet->initializeQuillonData();
        service::QuillonApi::sharedApi().requestDailyTimesheetForDate(QDate(2013, 1, 15), true);
        run.settle();
        VERIFY_EACH(run.project()->isEnabled(), run.window->notesText->isEnabled());
        run.choose(u"web"_s, u"mee"_s);
        QCOMPARE(run.button(), u"Start");
    }

    void refreshesLeaveWhatIsTypedAlone()
    {
        NewTimerRun run;
        support::TestData data = run.data();
        const auto refresh = [&] {
            run.test.time.advance(std::chrono::seconds(60));
            service::QuillonApi::sharedApi().requestDailyTimesheetForDate(QDate(2013, 1, 15), true);
            run.settle();
        };
        // The project that is chosen is archived under the hand.
        run.choose(u"garden"_s, u"we"_s);
        run.type(u"be"_s);
        run.key(Qt::Key_Left);
        QCOMPARE(run.button(), u"Start");
        QVERIFY(data.setProjectActive(run.garden, false));
        refresh();
        run.type(u"x"_s);
        QCOMPARE(run.button(), u"Start (off)");
        QCOMPARE(run.project()->text(), u"Garden");
        QCOMPARE(run.window->notesText->text(), u"bxe");
        run.key(Qt::Key_Return);
        QVERIFY(run.sent().empty());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(NewTimerTest)
#include "NewTimerTest.moc"

#include "TimesheetRun.h"

#include "editing/TextFields.h"
#include "model/Client.h"
#include "skin/Fonts.h"
#include "skin/RunningButtonBackground.h"
#include "support/InRow.h"
#include "support/TestMain.h"
#include "timesheet/NotesView.h"

#include <QClipboard>

using namespace Qt::StringLiterals;

class TimesheetRowTest : public QObject
{
    Q_OBJECT

private slots:
    void looksFollowTheState()
    {
        for (const auto& [running, lockedReason, projectColor] :
             {std::tuple{false, QString(), u"#212121"_s}, std::tuple{true, QString(), u"#212121"_s},
              std::tuple{false, u"Approved by <Ann>"_s, u"#aaaaaa"_s}, std::tuple{true, u"Approved"_s, u"#aaaaaa"_s}}) {
            const support::InRow inRow(running ? u"running "_s + lockedReason : lockedReason);
            const QString textColor = lockedReason.isEmpty() ? u"#666666"_s : u"#aaaaaa"_s;
            TimesheetRun run{
                {.notes = "n", .minutes = 65, .running = running, .lockedReason = lockedReason.toStdString()}};
            auto& cell = run.row(0);
            QCOMPARE(cell.startStopButton->shownImage().isNull(), running);
            QCOMPARE(cell.runningButtonView->isRunning(), running);
            for (const QWidget* label : {cell.clientLabel, cell.taskLabel, cell.hoursLabel})
                QCOMPARE(label->palette().color(QPalette::WindowText).name(), textColor);
            QCOMPARE(cell.notesLabel->textColor().name(), textColor);
            QCOMPARE(cell.projectLabel->palette().color(QPalette::WindowText).name(), projectColor);
            QCOMPARE(titles(*cell.menuForEvent()).size(), lockedReason.isEmpty() ? 5 : 1);
            QCOMPARE(timesheet::TimesheetListViewCell::contextMenu().at(1).title, u"Start Timer"_s);
            if (!lockedReason.isEmpty()) {
                // As it is, not as markup.
                QVERIFY(cell.lockedButton->toolTip().contains(lockedReason.toHtmlEscaped()));
                QCOMPARE(cell.lockedButton->accessibleDescription(), lockedReason);
            }
        }
    }

    void runningAndSelectedRowsStandOut()
    {
        TimesheetRun run{{.minutes = 65}, {.minutes = 65, .running = true}};
        // Beside all text; the focus mark is at the left edge.
        const auto colors = [&](int row) {
            const QImage image = run.row(row).grab().toImage();
            return QStringList{image.pixelColor(6, 0).name(), image.pixelColor(6, 32).name()};
        };
        const QStringList stopped = colors(0);
        const QStringList running = colors(1);
        QCOMPARE(stopped.last(), u"#f7f7f7"_s);
        QCOMPARE(running.last(), u"#dae9f7"_s);
        run.list().setSelectedRow(0);
        QVERIFY(colors(0) != stopped);
        QCOMPARE(colors(1), running);
        run.list().setSelectedRow(1);
        QCOMPARE(colors(0), stopped);
        QVERIFY(colors(1) != running);
    }

    void notesAreDrawnAsMeasured()
    {
        QString notes;
        for (int i = 0; i < 60; ++i)
            notes += u"word%1 "_s.arg(i);
        TimesheetRun run{{.notes = notes.toStdString(), .minutes = 5}, {.minutes = 5}};
        QCOMPARE(run.list().rectOfRow(1).height(), 65.0);
        QCOMPARE(run.controller().heightOfRow(run.list(), 2), 0.0);
        for (const int width : {440, 461, 530, 700}) {
            run.window().resize(width, 500);
            auto& cell = run.row(0);
            QCOMPARE(cell.notesLabel->width(), width - 20);
            const skin::TextLines lines(notes, timesheet::TimesheetListViewCell::notesFont(), width - 20);
            QCOMPARE(cell.height(), 65 + 2 + 14 * lines.count());
            QVERIFY(cell.notesLabel->height() >= 14 * lines.count());
            QVERIFY(cell.notesLabel->geometry().bottom() < cell.height());
        }
    }

    void notesOfMegabytesHoldNothingUp()
    {
        // Cut between characters, not within one.
        QCOMPARE(timesheet::TimesheetListViewCell::shownNotes(u"x"_s.repeated(9'999) + u"\U0001F9C1"_s).last(24),
                 u"x… (2 more characters)"_s.rightJustified(24, u'x'));

        // Words, one word, lines, and empty lines.
        const QString notes = u"Second pass "_s.repeated(270'000) + u"x\U0001F9C1"_s.repeated(600'000) +
                              u"\nA line of notes as long as lines are wont to be."_s.repeated(50'000) +
                              u"\n"_s.repeated(1'000'000) + u"end"_s;
        TimesheetRun run{{.notes = notes.toStdString(), .minutes = 5}};
        QVERIFY(run.controller().dayEntries().at(0)->notes() == notes);
        QVERIFY(run.row(0).accessibleText().endsWith(u" more characters)"_s));
        QVERIFY(run.row(0).height() > 2 * run.window().height());
        run.window().grab();
        run.key(Qt::Key_Down);
        run.key(Qt::Key_E);
        run.window().grab();

        // All of it is in the sheet, with what is typed, and is copied as it is.
        auto* field = run.window().findChild<editing::NotesField*>();
        QTest::keyClick(field, Qt::Key_End, Qt::ControlModifier);
        QTest::keyClick(field, Qt::Key_X);
        QVERIFY(field->text() == notes + u'x');
        field->selectAll();
        field->copy();
        QVERIFY(QGuiApplication::clipboard()->text() == notes + u'x');
    }

    void showsWhatIsThereOfAnEntry()
    {
        TimesheetRun run{{.notes = "n", .minutes = 5}};
        model::DayEntry* entry = run.controller().dayEntries().at(0);
        entry->project()->setClient(nullptr);
        run.controller().reloadEntries();
        QCOMPARE(run.row(0).accessibleText(), u"[W1] Website, Design, 5 minutes, n"_s);
        entry->setProject(nullptr);
        entry->setTask(nullptr);
        entry->setNotes({});
        entry->setHours({});
        run.controller().reloadEntries();
        QCOMPARE(run.row(0).accessibleText(), u"0 minutes"_s);
        QCOMPARE(run.row(0).height(), 65);
        run.row(0).grab();
        run.row(0).setDayEntry(nullptr);
        QCOMPARE(run.row(0).accessibleText(), QString());
        run.row(0).grab();
    }

    void followsTheEntryWithoutAReload()
    {
        TimesheetRun run{{.minutes = 5, .running = true}};
        auto& cell = run.row(0);
        QVERIFY(cell.runningButtonView->isVisible());
        cell.dayEntry()->setTimerStarted({});
        cell.dayEntry()->setValue("isLocked", true);
        cell.repaint();
        VERIFY_EACH(!cell.runningButtonView->isVisible(), cell.lockedButton->isVisible());
        QCOMPARE(cell.projectLabel->palette().color(QPalette::WindowText).name(), u"#aaaaaa"_s);
    }

    void readsAnyText()
    {
        TimesheetRun run{{.notes = "n", .minutes = 5}};
        model::DayEntry* entry = run.controller().dayEntries().at(0);
        for (const QString& text :
             {u"ملاحظات من اليمين إلى اليسار مع كلمة English في الوسط."_s, u"👩🏽‍💻🏳️‍🌈 🧁"_s,
              u"tab\tand\u0085next\u2028line \u202Ereversed\u202C \u200B"_s, u"<img src='x'>&amp;<b>bold</b>"_s,
              QString(5000, u'w')}) {
            const support::InRow inRow(text);
            entry->setNotes(text);
            entry->project()->setName(text);
            entry->project()->client()->setName(text);
            entry->task()->setName(text);
            run.controller().reloadEntries();
            auto& cell = run.row(0);
            QVERIFY(cell.height() >= 81);
            run.window().grab();
            run.list().setScrollOffset(cell.height() / 2);
            run.window().grab();
            // Names never reach into the hours.
            QVERIFY(cell.projectLabel->geometry().right() < cell.hoursLabel->x());
            QVERIFY(cell.hoursLabel->geometry().right() < cell.startStopButton->x());
            QCOMPARE(cell.hoursLabel->text(), u"0:05"_s);
            QVERIFY(cell.accessibleText().contains(u"5 minutes"_s));
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(TimesheetRowTest)
#include "TimesheetRowTest.moc"

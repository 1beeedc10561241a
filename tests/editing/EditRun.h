#pragma once

#include "../app/AppRun.h"

#include "editing/DatePicker.h"
#include "editing/TextFields.h"
#include "localservice/Database.h"
#include "model/DateComparisons.h"
#include "skin/QuillonTextFieldBackground.h"
#include "skin/Sheet.h"
#include "timesheet/TimesheetController.h"
#include "timesheet/TimesheetWindow.h"

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QWindow>

/// The program with its own windows, signed in, and one entry of today in the list. On "Website" are "Design" and
/// "Meetings", on "Intranet" "Design" and "Support".
class EditRun : public AppRun
{
public:
    explicit EditRun(Timers timers = Timers::Hours) : AppRun(true, timers)
    {
        support::TestData data = this->data();
        intranet = data.addProject({client, "Intranet"}).value();
        data.offerTask(intranet, design, true).value();
        support = data.addTask(account, "Support").value();
        data.offerTask(intranet, support, false).value();
        data.assignPerson(intranet, person).value();
        start();
    }

    /// A stopped entry of today: one and a half hours, or from 7:00 to 8:30. The caller gets its id.
    QString book(const QString& notes = QStringLiteral("First draft"))
    {
        model::DayEntry* entry = prepare(notes);
        if (timers == Timers::Timestamps) {
            entry->setStartedAt(moment(7, 0));
            entry->setStoppedAt(moment(8, 30));
        } else {
            entry->setHours(1.5);
        }
        return send(*entry);
    }
    QString startTimer(const QString& notes = QStringLiteral("Running")) { return send(*prepare(notes)); }

    /// Null: there is no such entry.
    model::DayEntry* entry(const QString& id)
    {
        return menulet->company()->findObject<model::DayEntry>(id, *menulet->managedObjectContext());
    }

    // What is on the screen.

    QWidget* window() { return &menulet->timesheetController()->window(); }
    template <class T = QWidget>
    T* find(const char* name)
    {
        return window()->findChild<T*>(QLatin1StringView(name));
    }
    QLineEdit& project()
    {
        return *find("editTimerSheet")->findChildren<QLineEdit*>(QStringLiteral("textField")).at(0);
    }
    QLineEdit& task() { return *find("editTimerSheet")->findChildren<QLineEdit*>(QStringLiteral("textField")).at(1); }
    editing::NotesField& notes() { return *find<editing::NotesField>("notesField"); }
    QLineEdit& hours() { return *find<QLineEdit>("hoursField"); }
    QLineEdit& startTime() { return *find<QLineEdit>("startTimeField"); }
    QLineEdit& endTime() { return *find<QLineEdit>("endTimeField"); }
    editing::DatePicker& date() { return *find<editing::DatePicker>("datePicker"); }
    bool isOpen()
    {
        auto* sheet = find<skin::Sheet>("editTimerSheet");
        return sheet && sheet->isOpen();
    }
    /// What the message over the sheet says; empty: there is none.
    QString message()
    {
        auto* sheet = find<skin::Sheet>("invalidEntrySheet");
        return sheet && sheet->isOpen() ? find<QLabel>("invalidEntryErrorMessage")->text() : QString();
    }

    // What the person does.

    /// Selects the entry of that row in the list and opens the sheet.
    void edit(int row = 0)
    {
        window()->activateWindow();
        find("dayEntriesListView")->setFocus();
        QTest::keyClick(window()->focusWidget(), Qt::Key_Home);
        for (; row > 0; --row)
            QTest::keyClick(window()->focusWidget(), Qt::Key_Down);
        QTest::keyClick(window()->focusWidget(), Qt::Key_E);
        peer.forgetRequests();
    }
    /// The same with an entry that is booked first; its id.
    QString editBooked()
    {
        QString id = book();
        edit();
        return id;
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(window()->focusWidget(), key, modifiers);
    }
    void type(QWidget& field, const QString& text)
    {
        field.setFocus(Qt::TabFocusReason);
        QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
        if (text.isEmpty())
            QTest::keyClick(&field, Qt::Key_Delete);
        for (const QChar sign : text)
            QTest::sendKeyEvent(QTest::Click, &field, Qt::Key_unknown, QString(sign), {});
    }
    /// Replaces what is in the field, at once.
    void paste(QWidget& field, const QString& text)
    {
        field.setFocus(Qt::TabFocusReason);
        QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(&field, Qt::Key_Delete);
        pasteOver(field, text);
    }
    /// Over what is selected.
    static void pasteOver(QWidget& field, const QString& text)
    {
        QGuiApplication::clipboard()->setText(text);
        QTest::keyClick(&field, Qt::Key_V, Qt::ControlModifier);
    }
    /// Goes on to the next field.
    void leave() { press(Qt::Key_Tab); }
    void save() { QTest::mouseClick(find("saveButton"), Qt::LeftButton); }
    void cancel() { QTest::mouseClick(find("cancelButton"), Qt::LeftButton); }
    void acknowledge() { QTest::mouseClick(find("acknowledgeButton"), Qt::LeftButton); }

    // What the service does.

    /// The next refresh brings this of the day in place of what the service has.
    void answerDay(const QByteArray& entries)
    {
        peer.answer("GET /daily/15/2013", {{200, "<daily><for_day>Tue, 15 Jan 2013</for_day><day_entries>" +
                                                     entries.toStdString() + "</day_entries></daily>"}});
    }
    /// The entry as a day sheet has it, with these elements besides.
    static QByteArray entryElement(const QString& id, const QByteArray& more)
    {
        return "<day_entry><id>" + id.toUtf8() +
               "</id><spent_at>2013-01-15</spent_at><user_id>1</user_id><client>Harbour</client><project_id>1"
               "</project_id><project>Website</project><task_id>1</task_id><task>Design</task>" +
               more + "</day_entry>";
    }

    /// The one body that was sent by a change; empty when nothing or more was.
    QByteArray sent()
    {
        settle();
        QByteArray body;
        int changes = 0;
        for (const support::Request& request : peer.requests()) {
            if (request.method != "POST")
                continue;
            ++changes;
            target = QString::fromStdString(request.target);
            body = QByteArray::fromStdString(request.body);
        }
        return changes == 1 ? body : QByteArray();
    }

    /// At that time today.
    static QDateTime moment(int hour, int minute)
    {
        return QDateTime(model::localDay(model::now()), QTime(hour, minute));
    }

    QString target; ///< of what was `sent`
    localservice::Id intranet = 0;
    localservice::Id support = 0;

private:
    model::DayEntry* prepare(const QString& notes)
    {
        model::DayEntry& entry = newEntry(QStringLiteral("Design"));
        entry.setNotes(notes);
        return &entry;
    }
    QString send(model::DayEntry& entry)
    {
        service::QuillonApi::sharedApi().startNewTimer(entry);
        settle();
        const auto entries = menulet->company()->dayEntriesForDate(QDate(2013, 1, 15));
        return entries.empty() ? QString() : entries.back()->idString();
    }
};

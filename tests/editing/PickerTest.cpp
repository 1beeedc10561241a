#include "EditingRun.h"

#include "editing/ProjectQuillonAutocompleter.h"
#include "editing/QuillonAutocompleterResultsWindow.h"
#include "editing/TaskQuillonAutocompleter.h"
#include "settings/QuillonPreferences.h"
#include "skin/LinkButton.h"
#include "skin/ThinScroller.h"
#include "support/InRow.h"
#include "support/TestMain.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QInputMethodEvent>
#include <QLabel>
#include <QListView>
#include <QScrollBar>
#include <QSignalSpy>

using namespace editing;

namespace {

/// A window with both pickers and a field after them. Every key may be followed by a refresh.
class Pickers : public QWidget, private QuillonAutocompleterDelegate
{
public:
    explicit Pickers(bool refreshing = false) : m_refreshing(refreshing)
    {
        entry = &run.company().findOrCreateById<model::DayEntry>(u"newEntry"_s, run.main());
        entry->setUser(run.currentUser());
        resize(320, 220);
        for (QuillonAutocompleter* picker :
             {static_cast<QuillonAutocompleter*>(&project), static_cast<QuillonAutocompleter*>(&task)}) {
            picker->setDelegate(this);
            picker->setEntry(entry);
        }
        project.addToView(*this, {14, 37});
        task.addToView(*this, {14, 71});
        after->move(14, 150);
        project.setNextKeyView(task.textField());
        task.setNextKeyView(after);
        show();
        activateWindow();
        static_cast<void>(QTest::qWaitForWindowActive(this));
        focus(project);
    }

    int presses = 0; ///< beside everything: they would drag the window
    void mousePressEvent(QMouseEvent* /*event*/) override { ++presses; }

    void focus(QuillonAutocompleter& picker)
    {
        current = &picker;
        picker.textField()->setFocus(Qt::TabFocusReason);
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(focusWidget(), key, modifiers);
        afterKey();
    }
    void type(const QString& text)
    {
        for (const QChar sign : text) {
            QTest::keyClick(focusWidget(), sign.toLatin1());
            afterKey();
        }
    }
    /// What an input method says: `preedit` is under way, `commit` is final.
    void compose(const QString& preedit, const QString& commit = {})
    {
        QInputMethodEvent event(preedit, {});
        event.setCommitString(commit);
        QCoreApplication::sendEvent(focusWidget(), &event);
    }
    void afterKey()
    {
        if (!m_refreshing)
            return;
        // Something else in the catalog is new each time.
        run.offered.back().tasks = {{"23", u"Build %1"_s.arg(++m_refreshes)}};
        catalogChanges();
    }
    void catalogChanges()
    {
        run.refresh();
        project.catalogDidChange();
        task.catalogDidChange();
    }

    /// "typed|completed"
    QString field() const
    {
        const QLineEdit* line = current->textField();
        const QString text = line->text();
        return line->hasSelectedText() ? text.left(line->selectionStart()) + u'|' + line->selectedText()
                                       : text.left(line->cursorPosition()) + u'|' + text.mid(line->cursorPosition());
    }
    /// Rows, the selected one marked; empty when it is closed.
    QString list()
    {
        auto& results = current->resultsController();
        if (!results.visible())
            return {};
        const QListView& view = *results.resultsTableView();
        QStringList rows;
        for (int row = 0; row < view.model()->rowCount(); ++row) {
            const QModelIndex index = view.model()->index(row, 0);
            rows << (view.selectionModel()->isSelected(index) ? u"*"_s : QString()) + index.data().toString();
        }
        return rows.join(u'/');
    }
    QString menu(QuillonAutocompleter& picker)
    {
        QStringList items;
        for (const PickerMenu::Item& item : picker.popupMenu().items())
            items << (item.tag ? u"  "_s : QString()) + item.title +
                         (picker.popupMenu().isChecked(item) ? u"*"_s : QString());
        return items.join(u'/');
    }
    void pick(QuillonAutocompleter& picker, const QString& title)
    {
        const auto& items = picker.popupMenu().items();
        const auto item =
            std::find_if(items.begin(), items.end(), [&](const auto& each) { return each.title == title; });
        picker.popupMenu().trigger(static_cast<int>(item - items.begin()));
    }
    bool error(QuillonAutocompleter& picker) const { return picker.autocompleterContainerView()->error(); }
    bool prompt(QuillonAutocompleter& picker) const
    {
        return picker.autocompleterContainerView()->findChild<QLabel*>(u"fakePlaceholderField"_s)->isVisible();
    }

    EditingRun run;
    model::DayEntry* entry;
    ProjectQuillonAutocompleter project;
    TaskQuillonAutocompleter task;
    QLineEdit* after = new QLineEdit(this);
    QuillonAutocompleter* current = &project;
    /// What the owner was told, in order: "project Website", "task -".
    QStringList told;

private:
    void itemSelected(model::QuillonObject* value, QuillonAutocompleter& picker) override
    {
        told << (&picker == &project ? u"project "_s : u"task "_s) + (value ? value->displayName() : u"-"_s);
        if (&picker == &project)
            task.chooseForProject(project.selectedProject());
    }

    bool m_refreshing;
    int m_refreshes = 0;
};

} // namespace

class PickerTest : public QObject
{
    Q_OBJECT

private slots:
    void saysWhatIsUnknown()
    {
        Pickers window;
        settings::QuillonPreferences::sharedPreferences().setUrl(u"acme"_s);
        const auto note = [&] {
            auto* label = window.project.autocompleterContainerView()->findChild<QLabel*>(u"unknownNote"_s);
            return label && label->isVisible() ? label->text() : QString();
        };
        window.type(u"des"_s);
        QCOMPARE(note(), QString());
        window.type(u"x"_s);
        QCOMPARE(note(), u"Not found"_s);
        auto* link = window.project.autocompleterContainerView()->findChild<skin::LinkButton*>();
        QVERIFY(link->isVisible());
        QCOMPARE(link->link().path(), u"/projects"_s);
        QCOMPARE(link->text(), u"Manage Projects"_s);
        window.key(Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), window.task.textField());
        QCOMPARE(note(), u"Not found"_s);
        window.key(Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(window.focusWidget(), window.project.textField());
        window.key(Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(window.focusWidget(), link);
        // Without a project that is no matter of the task.
        QVERIFY(!window.task.autocompleterContainerView()->findChild<skin::LinkButton*>());
        window.key(Qt::Key_Return);
        QCOMPARE(window.run.test.desktop.opened, QList<QUrl>{link->link()});
        window.focus(window.project);
        window.project.textField()->selectAll();
        window.type(u"des"_s);
        QCOMPARE(note(), QString());
        QVERIFY(!link->isVisible());
    }

    void completesWhatIsTyped()
    {
        for (const bool refreshing : {false, true}) {
            const support::InRow inRow(refreshing ? "a refresh at every key" : "quiet");
            Pickers window(refreshing);
            QVERIFY(window.prompt(window.project));
            window.type(u"dEs"_s);
            QCOMPARE(window.field(), u"dEs|ign");
            QCOMPARE(window.list(), u"Bank/*  Design/  destination guide");
            QVERIFY(!window.prompt(window.project));
            QCOMPARE(window.project.textField()->accessibleDescription(), u"Design");

            // Deleting never completes again, and nothing is offered to Return.
            window.key(Qt::Key_Backspace);
            QCOMPARE(window.field(), u"dEs|");
            QCOMPARE(window.list(), u"Bank/  Design/  destination guide");
            window.type(u"t"_s);
            QCOMPARE(window.field(), u"dEst|ination guide");

            // In the middle of a text nothing is added to its end.
            window.project.textField()->selectAll();
            window.type(u"esi"_s);
            window.key(Qt::Key_Home);
            window.type(u"d"_s);
            QCOMPARE(window.field(), u"d|esi");

            // By code, which is no beginning: nothing to complete.
            window.project.textField()->selectAll();
            window.type(u"zw"_s);
            QCOMPARE(window.field(), u"zw|");
            QCOMPARE(window.list(), u"Zoo/*  [ZW] Website");
            window.type(u"q"_s);
            QCOMPARE(window.list(), QString());
            // A deletion that finds nothing does not count.
            window.project.clear();
            window.key(Qt::Key_Backspace);
            window.type(u"d"_s);
            QCOMPARE(window.field(), u"d|esign");
            QVERIFY(window.told.isEmpty());
        }
    }

    void keys()
    {
        for (const bool refreshing : {false, true}) {
            const support::InRow inRow(refreshing ? "a refresh at every key" : "quiet");
            Pickers window(refreshing);
            const QString all = u"Bank/  Books/  Design/  destination guide/Zoo/  Attic/  [ZW] Website"_s;
            window.key(Qt::Key_Up);
            QCOMPARE(window.list(), QString(all).replace(u"  [ZW]"_s, u"*  [ZW]"_s));
            QCOMPARE(window.field(), u"|[ZW] Website");
            window.key(Qt::Key_Down);
            QCOMPARE(window.field(), u"|[ZW] Website");
            window.key(Qt::Key_Escape);
            QCOMPARE(window.list(), QString());
            window.key(Qt::Key_Up);
            window.key(Qt::Key_Up);
            QCOMPARE(window.list(), QString(all).replace(u"  dest"_s, u"*  dest"_s));
            for (int i = 0; i < 5; ++i)
                window.key(Qt::Key_Up);
            QCOMPARE(window.list(), QString(all).replace(u"  Books"_s, u"*  Books"_s));
            for (int i = 0; i < 3; ++i)
                window.key(Qt::Key_Down);
            QCOMPARE(window.field(), u"|Attic");
            window.key(Qt::Key_Return);
            QCOMPARE(window.told, QStringList({u"project Attic"_s}));
            QCOMPARE(window.project.selectedProject()->name(), u"Attic");
            QCOMPARE(window.list(), QString());
            QVERIFY(window.task.textField()->hasFocus());
            QCOMPARE(window.focusWidget(), window.task.textField());
            QVERIFY(!window.error(window.project));
        }
    }

    void takesWhatIsTyped()
    {
        const QString website = u"[ZW] Website"_s;
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Tab, Qt::Key_Backtab}) {
            // They take what is highlighted; back Tab takes it only where it is what the field shows.
            const QString byCode = key == Qt::Key_Backtab ? u"-"_s : website;
            for (const auto& [typed, chosen] : {std::pair{u"des"_s, u"Design"_s}, std::pair{u"WEBSITE"_s, website},
                                                std::pair{u"Websites"_s, u"-"_s}, std::pair{u"zw"_s, byCode}}) {
                const support::InRow inRow(QKeySequence(key).toString() + u": "_s + typed);
                Pickers window;
                window.type(typed);
                window.key(key);
                const bool none = chosen == u"-";
                QCOMPARE(window.told.value(0, u"project -"_s), u"project "_s + chosen);
                QCOMPARE(window.project.text(), none ? typed : chosen);
                QCOMPARE(window.error(window.project), none);
                QCOMPARE(window.project.textField()->accessibleDescription(), none ? u"No project chosen"_s : u""_s);
                VERIFY_EACH(!window.project.textField()->hasFocus(), !window.project.resultsController().visible());
            }
        }
    }

    void choosesWithTheMouse()
    {
        Pickers window;
        window.type(u"d"_s);
        QListView& view = *window.project.resultsController().resultsTableView();
        // Those of a client stand under it.
        const QImage picture = view.viewport()->grab().toImage();
        for (int row = 0; row < view.model()->rowCount(); ++row) {
            const QModelIndex index = view.model()->index(row, 0);
            const QRect box = view.visualRect(index);
            int ink = 2;
            const auto isBlank = [&](int x) {
                for (int y = box.top() + 4; y < box.bottom() - 4; ++y) {
                    if (picture.pixel(x, y) != picture.pixel(1, y))
                        return false;
                }
                return true;
            };
            while (ink < 40 && isBlank(ink))
                ++ink;
            QCOMPARE(ink > QuillonAutocompleterResultsWindow::TextMargin + 4, index.data().toString().startsWith(u' '));
        }
        const auto click = [&](int row) {
            QTest::mouseClick(view.viewport(), Qt::LeftButton, {},
                              view.visualRect(view.model()->index(row, 0)).center());
        };
        click(0); // a label
        QCOMPARE(window.list(), u"Bank/*  Design/  destination guide");
        click(2);
        QVERIFY(window.told.isEmpty()); // not before the person saw what they hit
        QTRY_COMPARE(window.told, QStringList({u"project destination guide"_s, u"task Build"_s}));
        QVERIFY(window.project.textField()->hasFocus());
        QCOMPARE(window.field(), u"destin|ation guide"); // the text was as long as "Design"
        QCOMPARE(window.list(), QString());
    }

    void aPressBesideItOnlyCloses()
    {
        Pickers window;
        const auto press = [&](QPoint at) { QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, at); };
        const auto pressBeside = [&] { press({300, 200}); };
        // What can be pressed is.
        window.type(u"d"_s);
        press(window.after->geometry().center());
        VERIFY_EACH(window.after->hasFocus(), !window.project.resultsController().visible());

        window.focus(window.project);
        window.project.textField()->clear();
        window.type(u"d"_s);
        QVERIFY(window.project.resultsController().visible());
        pressBeside();
        QVERIFY(!window.project.resultsController().visible());
        QCOMPARE(window.field(), u"d|esign");
        QVERIFY(window.project.textField()->hasFocus());
        window.key(Qt::Key_Down, Qt::AltModifier);
        QVERIFY(window.project.popupMenu().isVisible());
        // A refresh does not take away what one is just choosing.
        QTest::keyClick(&window.project.popupMenu(), Qt::Key_End);
        window.project.catalogDidChange();
        QCoreApplication::processEvents();
        QVERIFY(window.project.popupMenu().activeItem() > 0);
        pressBeside();
        QVERIFY(!window.project.popupMenu().isVisible());
        QCOMPARE(window.presses, 0);
        pressBeside();
        QCOMPARE(window.presses, 1);
    }

    void theMenuIsAMenu()
    {
        QWidget field;
        const QRect screen = field.screen()->availableGeometry();
        field.setGeometry(0, screen.bottom() - 40, 300, 26); // there is more room above
        field.show();
        PickerMenu menu(Look::Dark, &field);
        for (int i = 0; i < 300; ++i) {
            if (i % 100 == 0)
                menu.addHeader(u"Client %1"_s.arg(i / 100));
            menu.addItem(u"%1 %2"_s.arg(QStringList{u"Alp"_s, u"[B-7] Beta"_s, u"alto"_s}.at(i % 3)).arg(i), i);
        }
        menu.addItem(QString(200, u'x'), 300);
        menu.setChecked(150);
        const QSignalSpy chosen(&menu, &PickerMenu::triggered);
        menu.popUp(field);
        QCOMPARE(menu.height(), screen.height() / 2);
        QCOMPARE(menu.geometry().bottom(), field.mapToGlobal(QPoint(0, -1)).y());
        const auto isSeen = [&] { return menu.viewport()->rect().contains(menu.itemRect(menu.activeItem())); };
        const auto active = [&] {
            return menu.activeItem() < 0 ? u"-"_s : menu.items()[size_t(menu.activeItem())].title;
        };
        QCOMPARE(active(), u"Alp 150");
        QVERIFY(isSeen());
        for (const auto& [key, expected] : {std::pair{Qt::Key_Home, u"Alp 0"_s},
                                            {Qt::Key_Up, QString(200, u'x')},
                                            {Qt::Key_Tab, u"Alp 0"_s},
                                            {Qt::Key_Down, u"[B-7] Beta 1"_s},
                                            {Qt::Key_End, QString(200, u'x')},
                                            {Qt::Key_A, u"Alp 0"_s},
                                            {Qt::Key_L, u"Alp 0"_s},
                                            {Qt::Key_T, u"alto 2"_s},
                                            {Qt::Key_Backtab, u"[B-7] Beta 1"_s}}) {
            QTest::keyClick(&menu, key);
            QCOMPARE(active(), expected);
            QVERIFY(isSeen());
        }
        quint64 time = 5000; // a pause begins another word
        for (const auto& [key, expected] : {std::pair{"b", u"[B-7] Beta 4"_s}, {"-", u"[B-7] Beta 4"_s}}) {
            QKeyEvent typed(QEvent::KeyPress, 0, Qt::NoModifier, QString::fromLatin1(key));
            typed.setTimestamp(time += 500);
            QCoreApplication::sendEvent(&menu, &typed);
            QCOMPARE(active(), expected);
        }

        // As a screen reader finds it.
        QAccessibleInterface* shown = QAccessible::queryAccessibleInterface(&menu);
        QCOMPARE(shown->role(), QAccessible::PopupMenu);
        QCOMPARE(shown->childCount(), 304);
        QCOMPARE(shown->focusChild()->text(QAccessible::Name), u"[B-7] Beta 4");
        VERIFY_EACH(shown->focusChild()->state().focused, !shown->child(7)->state().focused);
        QCOMPARE(shown->indexOfChild(shown->child(7)), 7);
        QCOMPARE(shown->child(7)->parent(), shown);
        QCOMPARE(shown->child(0)->role(), QAccessible::MenuItem);
        QVERIFY(shown->child(0)->state().disabled);
        VERIFY_EACH(shown->child(152)->state().checked, shown->child(152)->state().checkable);

        // The pointer: not while it just lies there; headers are nothing; dragged to an item and released.
        const auto at = [&](int item) { return menu.itemRect(item).center(); };
        QTest::keyClick(&menu, Qt::Key_Home);
        QTest::mouseMove(menu.viewport(), at(3));
        QTest::mouseClick(menu.viewport(), Qt::LeftButton, {}, at(0));
        QVERIFY(menu.isVisible());
        QCOMPARE(active(), u"-");
        QTest::mousePress(menu.viewport(), Qt::LeftButton, {}, at(3));
        QTest::mouseRelease(menu.viewport(), Qt::LeftButton, {}, at(2));
        QVERIFY(!menu.isVisible());
        menu.popUp(field);
        shown->child(1)->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QTRY_VERIFY(!menu.isVisible());
        menu.popUp(field);
        QTest::keyClick(&menu, Qt::Key_Space);
        menu.popUp(field);
        QTest::keyClick(&menu, Qt::Key_Escape);
        QVERIFY(!menu.isVisible());
        menu.addItem(u"[C-1] Newer"_s, 301);
        menu.popUp(field);
        QTest::keyClick(&menu, Qt::Key_N);
        QCOMPARE(active(), u"[C-1] Newer");
        QVERIFY(isSeen());
        QCOMPARE(QVariantList(chosen[0] + chosen[1] + chosen[2]), QVariantList({qint64(1), qint64(0), qint64(150)}));
        QCOMPARE(chosen.size(), 3);
    }

    void choosesFromTheMenu()
    {
        Pickers window;
        QCOMPARE(window.menu(window.project), u"Bank/  Books/  Design/  destination guide/Zoo/  Attic/  [ZW] Website");
        window.after->setFocus();
        window.pick(window.project, u"[ZW] Website"_s);
        QCOMPARE(window.told, QStringList({u"project [ZW] Website"_s, u"task Design"_s}));
        VERIFY_EACH(window.project.textField()->hasFocus(), window.menu(window.project).endsWith(u"[ZW] Website*"));
        QCOMPARE(window.menu(window.task), u"Billable/  Design*/Non-Billable/  admin");
        window.pick(window.task, u"admin"_s);
        QCOMPARE(window.menu(window.task), u"Billable/  Design/Non-Billable/  admin*");
        // Chosen once more: still chosen, and nobody is told.
        window.pick(window.task, u"admin"_s);
        QCOMPARE(window.menu(window.task), u"Billable/  Design/Non-Billable/  admin*");
        QCOMPARE(window.told.size(), 3);
        window.pick(window.project, u"Attic"_s);
        QCOMPARE(window.menu(window.task), QString());
        QCOMPARE(window.told.last(), u"task -");
        QCOMPARE(window.task.text(), u"admin");
    }

    void inputMethodsCompleteNothingHalfDone()
    {
        Pickers window;
        window.type(u"de"_s);
        QCOMPARE(window.field(), u"de|sign");
        window.compose(u"ˆ"_s); // takes the place of the selection
        QCOMPARE(window.field(), u"de|");
        window.compose(u"s"_s);
        QCOMPARE(window.field(), u"de|");
        window.key(Qt::Key_Return); // the input method's
        QVERIFY(window.told.isEmpty());
        window.compose({}, u"s"_s);
        QCOMPARE(window.field(), u"des|ign");
        // Given up: nothing happened.
        window.compose(u"x"_s);
        QCOMPARE(window.field(), u"des|");
        window.compose({});
        QCOMPARE(window.field(), u"des|");
    }

    void geometry()
    {
        Pickers window;
        QCOMPARE(window.project.autocompleterContainerView()->geometry(), QRect(14, 37, 200, 26));
        window.project.matchWidth(*window.after);
        QCOMPARE(window.project.autocompleterContainerView()->width(), window.after->width());
        window.project.autocompleterContainerView()->resize(200, 26);
        window.key(Qt::Key_Down);
        const QWidget& drop = *window.project.resultsController().resultsTableView()->window();
        const QPoint corner = window.project.autocompleterContainerView()->mapToGlobal(QPoint(0, 26));
        QCOMPARE(drop.geometry(), QRect(corner + QPoint(1, 0), QSize(140, 7 * 26)));
        QVERIFY(drop.testAttribute(Qt::WA_ShowWithoutActivating));
        window.move(40, 60);
        QTRY_COMPARE(drop.pos(), window.project.autocompleterContainerView()->mapToGlobal(QPoint(1, 26)));
        window.key(Qt::Key_Backspace);
        window.type(u"attic"_s);
        QCOMPARE(drop.height(), 2 * 26);
        QCOMPARE(static_cast<const QuillonAutocompleterResultsWindow&>(drop).initialLocation(), drop.pos());

        // More rows than there is room for: a thumb over them goes along, and takes no width.
        for (const char* id : {"40", "41", "42", "43", "44", "45"})
            window.run.offered.push_back({id, u"Zoo"_s, {}, QString::fromLatin1(id)});
        window.catalogChanges();
        window.project.textField()->selectAll();
        window.key(Qt::Key_Delete);
        QCOMPARE(drop.height(), 190);
        const QWidget& rows = *window.project.resultsController().resultsTableView()->viewport();
        const auto* thumb = rows.findChild<skin::ThinScroller*>();
        QCOMPARE(rows.width(), 140);
        QVERIFY(thumb->isVisible());
        QCOMPARE(thumb->y(), 2);
        window.key(Qt::Key_Up);
        QCOMPARE(thumb->geometry().bottom(), 187);

        const int before = window.project.popupButton()->y();
        window.project.setStyle(1);
        QCOMPARE(window.project.popupButton()->y(), before - 3);
        QCOMPARE(window.project.autocompleterContainerView()->height(), 26);
        QVERIFY(!window.project.autocompleterContainerView()->useHUDBackground());
    }

    void refreshUnderTheHand()
    {
        Pickers window;
        window.project.setSelectedValue(window.run.byId<model::Project>("12"));
        window.project.textField()->setCursorPosition(3);

        // Another name for what is chosen and not being typed.
        window.run.offered[1].name = u"Designs"_s;
        window.catalogChanges();
        QCOMPARE(window.field(), u"Des|igns");
        QCOMPARE(window.project.selectedProject()->name(), u"Designs");

        // The highlighted row is pushed down by new ones, and stays the highlighted row. What is typed over a choice
        // is not replaced by its new name.
        window.key(Qt::Key_End);
        window.key(Qt::Key_Backspace);
        window.project.textField()->selectAll();
        window.type(u"d"_s);
        window.key(Qt::Key_Down);
        QCOMPARE(window.list(), u"Bank/  Designs/*  destination guide");
        window.run.offered[1].name = u"Depot"_s;
        window.run.offered.insert(window.run.offered.begin(), {"19", u"Abbey"_s, {}, u"Doors"_s});
        window.catalogChanges();
        QCOMPARE(window.list(), u"Abbey/  Doors/Bank/  Depot/*  destination guide");
        QCOMPARE(window.field(), u"d|estination guide");

        // What was chosen goes: the owner is told, once; what is typed stays.
        window.told.clear();
        window.run.remove("12");
        window.project.catalogDidChange();
        window.task.catalogDidChange();
        QCOMPARE(window.told.value(0), u"project -");
        QCOMPARE(window.told.count(u"project -"_s), 1);
        QCOMPARE(window.list(), u"Abbey/  Doors/Bank/*  destination guide");
        QCOMPARE(window.field(), u"d|estination guide");
        QVERIFY(!window.error(window.project));

        // Even what is highlighted.
        window.run.remove("15");
        window.project.catalogDidChange();
        window.task.catalogDidChange();
        QCOMPARE(window.list(), u"Abbey/  Doors");
        QCOMPARE(window.field(), u"d|estination guide");
        window.key(Qt::Key_Return);
        QCOMPARE(window.project.selectedValue(), nullptr);
        QVERIFY(window.error(window.project));
        window.project.setSelectedValue(window.run.byId<model::Project>("13"));
        QVERIFY(!window.error(window.project));
    }

    void longListStaysWhereItIs()
    {
        Pickers window;
        std::vector<QByteArray> ids;
        for (int i = 100; i < 140; ++i)
            ids.push_back(QByteArray::number(i));
        for (const QByteArray& id : ids)
            window.run.offered.push_back({id.constData(), u"Bank"_s, {}, u"p"_s + QString::fromLatin1(id)});
        window.catalogChanges();
        window.type(u"p1"_s);
        for (int i = 0; i < 12; ++i)
            window.key(Qt::Key_Down);
        QScrollBar& bar = *window.project.resultsController().resultsTableView()->verticalScrollBar();
        const int scrolled = bar.value() + 25;
        bar.setValue(scrolled);
        // What is highlighted stays under the eye, also when a row comes above it.
        window.run.offered.insert(window.run.offered.begin(), {"99", u"Bank"_s, {}, u"p1"_s});
        window.catalogChanges();
        QCOMPARE(bar.value(), scrolled + editing::QuillonAutocompleterResultsWindow::RowHeight);
        // A menu ends nothing: what is highlighted has not been chosen.
        QFocusEvent toMenu(QEvent::FocusOut, Qt::PopupFocusReason);
        QCoreApplication::sendEvent(window.project.textField(), &toMenu);
        QCOMPARE(window.project.selectedValue(), nullptr);
    }

    void longNamesCanBeToldApart()
    {
        Pickers window;
        const QString name =
            u"Restoration of the northern harbour wall, berths 4 to 17 and the old lighthouse, part "_s;
        window.run.offered = {{"50", u"Bank"_s, {}, name + u"B"_s}, {"51", u"Bank"_s, {}, name + u"W"_s}};
        window.catalogChanges();
        window.key(Qt::Key_Down);
        window.key(Qt::Key_Up); // neither is drawn as the chosen one
        QListView& list = *window.project.resultsController().resultsTableView();
        list.clearSelection();
        const auto drawn = [&](int row) { return list.viewport()->grab(list.visualRect(list.model()->index(row, 0))); };
        QVERIFY(drawn(1).toImage() != drawn(2).toImage());
        QVERIFY(list.model()->index(1, 0).data(Qt::ToolTipRole).toString().contains(u"harbour"_s));
        PickerMenu& menu = window.project.popupMenu();
        menu.popUp(window);
        const auto item = [&](int row) { return menu.viewport()->grab(menu.itemRect(row)).toImage(); };
        QVERIFY(item(1) != item(2));
    }

    void nothingIsUsedThatIsGone()
    {
        Pickers window;
        window.project.setSelectedValue(window.run.byId<model::Project>("11"));
        window.task.textField()->setFocus();
        window.focus(window.project);
        window.type(u"d"_s);
        // The merge has come, and nobody has said so yet: the list still shows what is gone.
        window.run.offered.clear();
        window.run.offered.push_back({"30", u"Zoo"_s, {}, u"Only"_s});
        window.run.refresh();
        window.key(Qt::Key_Down);
        window.key(Qt::Key_Down);
        window.key(Qt::Key_Return);
        QCOMPARE(window.project.selectedValue(), nullptr);
        QVERIFY(window.error(window.project));
        window.menu(window.task);
        window.pick(window.task, u"Design"_s);
        QCOMPARE(window.task.selectedValue(), nullptr);
        // All of the account goes, the entry as well.
        window.run.company().clearAllData();
        window.focus(window.project);
        window.type(u"x"_s);
        window.key(Qt::Key_Down);
        window.key(Qt::Key_Tab);
        window.project.catalogDidChange();
        QCOMPARE(window.menu(window.project), QString());
    }

    void disabledItClosesItsList()
    {
        Pickers window;
        window.key(Qt::Key_Down);
        window.project.setEnabled(false);
        QCOMPARE(window.list(), QString());
        VERIFY_EACH(!window.project.textField()->isEnabled(), !window.project.popupButton()->isEnabled());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(PickerTest)
#include "PickerTest.moc"

#include "../localservice/HttpClient.h"
#include "Scenes.h"

#include "editing/DatePicker.h"
#include "skin/Appearance.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"

#include <QContextMenuEvent>
#include <QDir>
#include <QWheelEvent>

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QStringList s_heard;

/// What a screen reader would hear, as far as it is our doing and not the toolkit's.
void hear(QAccessibleEvent* event)
{
    static const QMap<QAccessible::Event, QString> Ours{{QAccessible::Selection, u"selects"_s},
                                                        {QAccessible::Focus, u"goes to"_s},
                                                        {QAccessible::Alert, u"alert"_s},
                                                        {QAccessible::PopupMenuStart, u"list"_s},
                                                        {QAccessible::PopupMenuEnd, u"end of list"_s}};
    QAccessibleInterface* part = Ours.contains(event->type()) ? event->accessibleInterface() : nullptr;
    if (part && part->object() && QByteArray(part->object()->metaObject()->className()).contains("::"))
        s_heard << u"heard: "_s + Ours[event->type()] + u' ' + part->text(QAccessible::Name).replace(u'\n', u'|');
}

} // namespace

/// Stories of people and their windows, the files in tests/app/stories: "@" a state to begin in, ">" what somebody does
/// or what happens, and below it what comes of it. The words for what can be done are the rows of `steps`. With
/// WRITE_DESCRIBED what comes of it is written anew.
class StoriesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QApplication::setStyle(new support::StillStyle);
        // Off screen nobody asks for it.
        QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
        QAccessible::installUpdateHandler(hear);
    }
    void init() { skin::setAppearance({.still = true}); }
    void cleanup()
    {
        m_scene.reset();
        skin::setAppearance({});
    }

    void stories_data()
    {
        QTest::addColumn<QString>("file");
        for (const QFileInfo& file : QDir(STORIES ""_L1).entryInfoList({u"*.txt"_s}))
            QTest::newRow(qPrintable(file.baseName())) << file.filePath();
    }
    void stories()
    {
        QFETCH(const QString, file);
        QFile story(file);
        QVERIFY(story.open(QIODevice::ReadOnly));
        QStringList told;
        for (const QString& line : QString::fromUtf8(story.readAll()).split(u'\n')) {
            const QString rest = line.mid(2);
            if (line.startsWith(u'#'))
                told << line;
            else if (line.startsWith("@ "_L1))
                told << line << begin(rest);
            else if (line.startsWith("> "_L1))
                told << line << happen(rest);
        }
        const QStringList found = support::differences(file, told);
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }

private:
    using Step = void (StoriesTest::*)(const QString&);

    static const QMap<QString, Step>& steps()
    {
        static const QMap<QString, Step> All{
            {u"click"_s, &StoriesTest::click},         // a part of the window; "name 2" is the second of that name
            {u"double"_s, &StoriesTest::doubleClick},  //
            {u"menu-of"_s, &StoriesTest::openMenuOf},  // its context menu
            {u"wheel"_s, &StoriesTest::wheel},         // "name -1"
            {u"key"_s, &StoriesTest::key},             // pressed where the keyboard is
            {u"record"_s, &StoriesTest::record},       // the same of a real keyboard: its code and the key
            {u"type"_s, &StoriesTest::type},           //
            {u"fill"_s, &StoriesTest::fill},           // "name=text": as if its text had been selected before
            {u"choose"_s, &StoriesTest::choose},       // in the menu or the list that is open
            {u"pick"_s, &StoriesTest::pick},           // in the status item's menu, which is opened for it
            {u"press"_s, &StoriesTest::press},         // the status item: "button" or "face"
            {u"hot-key"_s, &StoriesTest::hotKey},      //
            {u"window"_s, &StoriesTest::useWindow},    // where the next steps happen
            {u"close"_s, &StoriesTest::close},         //
            {u"wait"_s, &StoriesTest::wait},           // seconds at work; nobody is idle
            {u"leave"_s, &StoriesTest::leave},         // seconds without a touch
            {u"sleep"_s, &StoriesTest::sleep},         // of the machine, seconds
            {u"clock"_s, &StoriesTest::clock},         // put right by so many seconds
            {u"answer"_s, &StoriesTest::answer},       // the button of the question that stands there
            {u"network"_s, &StoriesTest::network},     // "on" or "off"
            {u"reply"_s, &StoriesTest::reply},         // "500 GET /daily", then its body; "0" hangs, "-1" is closed
            {u"elsewhere"_s, &StoriesTest::elsewhere}, // a request of the same person's other program
            {u"locks"_s, &StoriesTest::locks},         // the service: an entry
            {u"renames"_s, &StoriesTest::renames},     // the project
        };
        return All;
    }

    QStringList begin(const QString& name)
    {
        const auto known = std::ranges::find(scenes(), name.toStdString(), &NamedScene::name);
        if (known == scenes().end())
            return {u"there is no such state"_s};
        m_scene.emplace();
        m_hanging.clear();
        m_hangs = false;
        known->make(*m_scene);
        m_scene->run->test.alerts.answer.reset();
        return {};
    }

    QStringList happen(const QString& line)
    {
        const Step step = steps().value(line.section(u' ', 0, 0));
        if (!step || !m_scene)
            return {u"nothing that could be done"_s};
        static const QStringList OfOthers{u"wait"_s,  u"leave"_s,     u"sleep"_s, u"clock"_s,  u"network"_s,
                                          u"reply"_s, u"elsewhere"_s, u"locks"_s, u"renames"_s};
        if (!OfOthers.contains(line.section(u' ', 0, 0)))
            run().test.idle.touch();
        s_heard.clear();
        Outcome outcome(*m_scene);
        m_problem.clear();
        (this->*step)(line.section(u' ', 1));
        settle();
        return m_problem.isEmpty() ? inShort(outcome.lines() + s_heard) : QStringList(m_problem);
    }

    /// Without looks and what only holds others, which are compared elsewhere; how often, where it was again and again.
    static QStringList inShort(const QStringList& lines)
    {
        static const QRegularExpression looks(
            u" font \\d+ of \\d+| #[0-9a-f]{8}| format \\d+ \\d+| bars \\d \\d| menu \\d| cursor \\d+"_s);
        static const QRegularExpression holder(u"^\\+ \\w+ (Client|NoRole)$|^\\+ tab: "_s);
        QStringList told;
        for (QString line : lines) {
            line.remove(looks);
            const qsizetype times = lines.count(line);
            const bool again = line.startsWith("asked: "_L1) && times > 2;
            if (!holder.match(line).hasMatch() && !(again && told.contains(line + u" %1 times"_s.arg(times))))
                told << (again ? line + u" %1 times"_s.arg(times) : line);
        }
        return told;
    }

    /// Until all has been answered that will be.
    void settle()
    {
        const auto& api = service::QuillonApi::sharedApi();
        if (!m_hanging.isEmpty() && api.operationCount() > 0) {
            QTRY_VERIFY(run().peer.asked().contains(m_hanging));
            m_hanging.clear();
            m_hangs = true;
        }
        if (!m_hangs)
            run().settle();
        QTRY_VERIFY(!isPressed());
        if (!m_hangs)
            run().settle();
        QCoreApplication::processEvents();
    }

    /// A key that presses a button lets go of it after a moment.
    static bool isPressed()
    {
        return std::ranges::any_of(QApplication::allWidgets(), [](const QWidget* widget) {
            const auto* button = qobject_cast<const QAbstractButton*>(widget);
            return button && button->isVisible() && button->isDown();
        });
    }

    AppRun& run() { return *m_scene->run; }

    /// The part of the window of that name, counted from 1.
    QWidget* part(const QString& named)
    {
        static const QRegularExpression pattern(u"^(.*?)(?: (\\d+))?$"_s);
        const auto match = pattern.match(named);
        int left = std::max(match.captured(2).toInt(), 1);
        QWidget* window = m_scene->window;
        for (QWidget* widget : window ? window->findChildren<QWidget*>() : QWidgetList()) {
            if (widget->isVisible() && support::Described::nameOf(*widget) == match.captured(1) && --left == 0)
                return widget;
        }
        m_problem = u"it is not there"_s;
        return nullptr;
    }

    void click(const QString& name)
    {
        if (QWidget* widget = part(name))
            QTest::mouseClick(widget, Qt::LeftButton);
    }
    void doubleClick(const QString& name)
    {
        if (QWidget* widget = part(name))
            QTest::mouseDClick(widget, Qt::LeftButton);
    }
    void openMenuOf(const QString& name)
    {
        if (QWidget* widget = part(name)) {
            QContextMenuEvent event(QContextMenuEvent::Keyboard, widget->rect().center(),
                                    widget->mapToGlobal(widget->rect().center()));
            QCoreApplication::sendEvent(widget, &event);
        }
    }
    void wheel(const QString& name)
    {
        if (QWidget* widget = part(name.section(u' ', 0, -2))) {
            const QPoint delta(0, 120 * name.section(u' ', -1).toInt());
            QWheelEvent event(QPointF(5, 5), widget->mapToGlobal(QPointF(5, 5)), {}, delta, Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(widget, &event);
        }
    }
    QWidget* keyboard()
    {
        if (QWidget* popup = QApplication::activePopupWidget())
            return popup;
        QWidget* window = m_scene->window;
        return window && window->focusWidget() ? window->focusWidget() : window;
    }
    void key(const QString& keys)
    {
        const QKeyCombination combination = QKeySequence::fromString(keys)[0];
        QTest::keyClick(keyboard(), combination.key(), combination.keyboardModifiers());
    }
    void record(const QString& what)
    {
        const QKeyCombination combination = QKeySequence::fromString(what.section(u' ', 1))[0];
        QKeyEvent press(QEvent::KeyPress, combination.key(), combination.keyboardModifiers(),
                        what.section(u' ', 0, 0).toUInt(), 0, 0);
        QCoreApplication::sendEvent(keyboard(), &press);
    }
    void type(const QString& text) { QTest::keyClicks(keyboard(), text); }
    void fill(const QString& what)
    {
        QWidget* field = part(what.section(u'=', 0, 0));
        if (!field)
            return;
        field->setFocus(Qt::TabFocusReason);
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        const QString text = what.section(u'=', 1);
        if (text.isEmpty())
            QTest::keyClick(field, Qt::Key_Delete);
        QTest::keyClicks(field, text);
    }
    void choose(const QString& title)
    {
        if (auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget())) {
            for (QAction* action : menu->actions()) {
                if (action->text().remove(u'&') == title) {
                    menu->setActiveAction(action); // of a press so soon after it opened each version thinks otherwise
                    QTest::keyClick(menu, Qt::Key_Return);
                    return;
                }
            }
        }
        for (QWidget* window : QApplication::topLevelWidgets()) {
            for (auto* list :
                 window->isVisible() ? window->findChildren<QAbstractItemView*>() : QList<QAbstractItemView*>()) {
                for (int row = 0; row < list->model()->rowCount(); ++row) {
                    const QModelIndex index = list->model()->index(row, 0);
                    if (list->isVisible() && index.data().toString().trimmed() == title) {
                        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualRect(index).center());
                        return;
                    }
                }
            }
        }
        m_problem = u"it is not offered"_s;
    }
    void pick(const QString& title)
    {
        run().view().pressFace();
        QCoreApplication::processEvents();
        choose(title);
    }
    void press(const QString& what) { what == "button"_L1 ? run().view().pressButton() : run().view().pressFace(); }
    void hotKey(const QString& keys)
    {
        if (!run().test.hotKeys.press(QKeySequence::fromString(keys)[0]))
            m_problem = u"nobody hears it"_s;
    }
    void useWindow(const QString& name)
    {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (window->isVisible() && support::Described::nameOf(*window) == name) {
                m_scene->window = window;
                window->activateWindow();
                return;
            }
        }
        m_problem = u"it is not there"_s;
    }
    void close(const QString& /*nothing*/) { m_scene->window->close(); }
    void pass(const QString& seconds, bool touched)
    {
        const int step = std::max(15, seconds.toInt() / 40);
        for (int left = seconds.toInt(); left > 0; left -= step) {
            if (touched)
                run().test.idle.touch();
            run().test.time.advance(std::chrono::seconds(std::min(left, step)));
            settle();
        }
    }
    void wait(const QString& seconds) { pass(seconds, true); }
    void leave(const QString& seconds) { pass(seconds, false); }
    void sleep(const QString& seconds) { run().test.sleep.sleep(std::chrono::seconds(seconds.toInt())); }
    void clock(const QString& seconds)
    {
        run().test.time.setNow(run().test.time.now() + std::chrono::seconds(seconds.toInt()));
    }
    void answer(const QString& title)
    {
        const auto open = run().test.alerts.open();
        const qsizetype button = open ? open->buttons.indexOf(title) : -1;
        if (button < 0)
            m_problem = u"nobody asks that"_s;
        else
            run().test.alerts.press(int(button));
    }
    void network(const QString& on) { run().test.network.setReachable(on == "on"_L1); }
    void reply(const QString& what)
    {
        const int status = what.section(u' ', 0, 0).toInt();
        if (status == 0)
            m_hanging = what.section(u' ', 1, 2);
        const std::string body = what.section(u' ', 3).toStdString();
        run().peer.answer(what.section(u' ', 1, 2).toStdString(), {status == 0    ? support::Reply::hanging()
                                                                   : status == -1 ? support::Reply::closed()
                                                                                  : support::Reply{status, body}});
    }
    void elsewhere(const QString& what)
    {
        HttpClient other(QString::fromStdString(run().service.url("acme")), u"ann@example.com"_s, u"secret"_s);
        const QByteArray body = requestBody(what.section(u' ', 2));
        const Answer answer = other.send(what.section(u' ', 0, 0).toLatin1(), what.section(u' ', 1, 1),
                                         what.startsWith("POST"_L1) ? body : QByteArray());
        if (answer.status >= 300 || answer.error)
            m_problem = u"refused: %1"_s.arg(answer.status);
    }
    void locks(const QString& entry) { QVERIFY(run().data().lockEntry(entry.toLongLong(), "Approved")); }
    void renames(const QString& name) { QVERIFY(run().data().renameProject(run().website, name.toStdString())); }

    std::optional<Scene> m_scene;
    QString m_problem;
    QString m_hanging;    ///< the request that will not be answered
    bool m_hangs = false; ///< as it has been made
};

QUILLON_OFFSCREEN_TEST_MAIN(StoriesTest)
#include "StoriesTest.moc"

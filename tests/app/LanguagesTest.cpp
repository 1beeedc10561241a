#include "../timesheet/TimesheetRun.h"

#include "app/AppcastFeed.h"
#include "app/TimeHere.h"
#include "app/UpdateWindow.h"
#include "preferences/PreferenceController.h"
#include "skin/HintCard.h"
#include "skin/Colors.h"
#include "skin/Image.h"
#include "support/Described.h"
#include "support/PseudoLanguage.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"

#include <QAccessible>
#include <QCalendarWidget>
#include <QDir>
#include <QLineEdit>
#include <QListView>
#include <QRegularExpression>
#include <QTabBar>
#include <QTextEdit>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::PseudoLanguage;

namespace {

/// What the account of the run and its address are made of, and formats that are the same everywhere.
const QRegularExpression Data(
    u"Website|Design|Meetings|Harbour|\\bW1\\b|acme|ann@example\\.com|localhost|https?://\\S*|/\\S*|\\d(am|pm)\\b"_s,
    QRegularExpression::CaseInsensitiveOption);

bool isPlain(QString text)
{
    text.remove(QRegularExpression(u"<[^>]*>"_s)).remove(Data);
    return text.contains(QRegularExpression(u"[A-Za-z]{2}"_s));
}

QStringList textsOf(const QWidget& widget)
{
    QStringList texts{widget.toolTip(), widget.accessibleName(), widget.accessibleDescription()};
    if (widget.isWindow())
        texts << widget.windowTitle();
    if (QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&widget)))
        texts << spoken->text(QAccessible::Name) << spoken->text(QAccessible::Description);
    if (const auto* label = qobject_cast<const QLabel*>(&widget))
        texts << label->text();
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
        texts << button->text();
    if (const auto* field = qobject_cast<const QLineEdit*>(&widget))
        texts << field->placeholderText();
    if (const auto* field = qobject_cast<const QTextEdit*>(&widget))
        texts << field->placeholderText();
    if (const auto* tabs = qobject_cast<const QTabBar*>(&widget)) {
        for (int i = 0; i < tabs->count(); ++i)
            texts << tabs->tabText(i);
    }
    for (const QAction* action : widget.actions())
        texts << action->text() << action->toolTip();
    return texts;
}

bool isLettering(const QWidget& widget)
{
    const auto* label = qobject_cast<const QLabel*>(&widget);
    const auto* button = qobject_cast<const QAbstractButton*>(&widget);
    return (label && !label->text().isEmpty()) || (button && !button->text().isEmpty());
}

/// Whether the widget has less room than what it says needs.
bool isCut(const QWidget& widget)
{
    if (const auto* cell = qobject_cast<const skin::QuillonTextFieldCell*>(&widget))
        return cell->isElided() && !cell->text().contains(Data);
    if (const auto* field = qobject_cast<const QLineEdit*>(&widget))
        return field->fontMetrics().horizontalAdvance(field->placeholderText()) > field->width() - 4;
    const auto* label = qobject_cast<const QLabel*>(&widget);
    if (label && label->wordWrap())
        return label->heightForWidth(label->width()) > label->height();
    return isLettering(widget) &&
           (widget.sizeHint().width() > widget.width() || widget.sizeHint().height() > widget.height() + 4);
}

/// The widget without its children, painted in as many parts each way.
QImage painted(QWidget& widget, int parts)
{
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const QSize part(widget.width() / parts + 1, widget.height() / parts + 1);
    for (int i = 0; i < parts * parts; ++i) {
        const QRect piece(QPoint(i % parts * part.width(), i / parts * part.height()), part);
        widget.render(&image, piece.topLeft(), piece & widget.rect(), QWidget::IgnoreMask);
    }
    return image;
}

/// Of a channel, in 255.
int greatestDifference(const QImage& one, const QImage& other)
{
    int greatest = 0;
    for (qsizetype i = 0; i < one.sizeInBytes(); ++i)
        greatest = std::max(greatest, std::abs(one.constBits()[i] - other.constBits()[i]));
    return greatest;
}

QString nameOf(const QWidget& widget)
{
    return QLatin1StringView(widget.metaObject()->className()) + u' ' + widget.objectName();
}

/// What the windows say in English, compared with tests/app/windows at the end of each test.
std::optional<QStringList> described;

/// What is wrong with what can be seen, one line each. Its picture goes to the folder LANGUAGE_PICTURES.
QStringList faults(QWidget& window, const QString& picture)
{
    QStringList found;
    QCoreApplication::processEvents();
    if (described) {
        *described << u"== "_s + picture << support::Described(window);
        return found;
    }
    QList<QWidget*> all = window.findChildren<QWidget*>();
    all.prepend(&window);
    for (QWidget* widget : all) {
        if (!widget->isVisibleTo(&window) || (widget->isWindow() && widget != &window))
            continue;
        if (const int by = greatestDifference(painted(*widget, 1), painted(*widget, 3)); by > 2)
            found << picture + u": other by %1 when a part is painted: "_s.arg(by) + nameOf(*widget);
        for (const QString& text : textsOf(*widget)) {
            if (isPlain(text))
                found << picture + u": untranslated: "_s + nameOf(*widget) + u": "_s + text;
        }
        if (isCut(*widget))
            found << u"%1: cut: %2: %3, %4 x %5 needs %6 x %7"_s.arg(
                picture, nameOf(*widget), textsOf(*widget).join(u'|'), QString::number(widget->width()),
                QString::number(widget->height()), QString::number(widget->sizeHint().width()),
                QString::number(widget->sizeHint().height()));
        const QWidget* parent = widget == &window ? nullptr : widget->parentWidget();
        if (parent && !parent->rect().contains(widget->geometry()) && isLettering(*widget))
            found << u"%1: outside: %2 of %3"_s.arg(picture, nameOf(*widget), nameOf(*parent));
    }
    if (const QString folder = qEnvironmentVariable("LANGUAGE_PICTURES"); !folder.isEmpty()) {
        QDir().mkpath(folder);
        window.grab().save(folder + u'/' + QLatin1StringView(QTest::currentDataTag()) + u'-' + picture + u".png"_s);
    }
    found.removeDuplicates();
    return found;
}

/// Whether they stand side by side as they are read.
bool areInOrder(const QWidget& first, const QWidget& second)
{
    return first.isRightToLeft() ? first.x() > second.x() : first.x() < second.x();
}

QWidget* windowNamed(const QString& objectName)
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == objectName && window->isVisible())
            return window;
    }
    return nullptr;
}

} // namespace

/// Every window in English, and in languages that need more room and are read from the other side.
class LanguagesTest : public QObject
{
    Q_OBJECT

    std::optional<PseudoLanguage> m_language;

    static void languages()
    {
        QTest::addColumn<int>("kind");
        if (QGuiApplication::platformName() == "offscreen"_L1)
            QTest::newRow("english") << -1;
        QTest::newRow("accented") << int(PseudoLanguage::Accented);
        QTest::newRow("mirrored") << int(PseudoLanguage::Mirrored);
    }
    void speak()
    {
        QFETCH(const int, kind);
        if (kind < 0)
            described.emplace();
        else
            m_language.emplace(PseudoLanguage::Kind(kind));
        QCoreApplication::processEvents();
    }

private slots:
    void initTestCase() { QApplication::setStyle(new support::StillStyle); }
    void cleanup()
    {
        m_language.reset();
        if (const auto seen = std::exchange(described, {})) {
            const QStringList found = support::differences(
                QStringLiteral(WINDOWS "/%1.txt").arg(QLatin1StringView(QTest::currentTestFunction())), *seen);
            QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
        }
    }

    void preferences_data() { languages(); }
    void preferences()
    {
        speak();
        QStringList found;
        for (const bool signedIn : {false, true}) {
            AppRun run(signedIn);
            run.start();
            run.menulet->showPreferencePanel(nullptr);
            QWidget& window = *windowNamed(u"Preferences"_s);
            auto& tabs = *window.findChild<QTabBar*>();
            const QString who = signedIn ? u"signed-in"_s : u"new"_s;
            for (int i = 0; i < tabs.count(); ++i) {
                tabs.setCurrentIndex(i);
                found << faults(window, u"preferences-%1-%2"_s.arg(i).arg(who));
            }
            tabs.setCurrentIndex(0);
            if (!signedIn) {
                window.findChild<QAbstractButton*>(u"doneButton"_s)->click();
                QTest::qWait(0);
                found << faults(window, u"preferences-sheet"_s);
            }
            window.hide();
        }
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }

    void timesheet_data() { languages(); }
    void timesheet()
    {
        speak();
        TimesheetRun run{{.notes = "1, 2, 3: 4", .minutes = 83},
                         {.minutes = 5, .lockedReason = "-"},
                         {.minutes = 125, .running = true}};
        timesheet::TimesheetWindow& window = run.window();
        window.resize(window.minimumSize());
        run.list().setSelectedRow(0);
        QStringList found = faults(window, u"timesheet"_s);
        QVERIFY(areInOrder(*window.backButton, *window.forwardButton));
        QVERIFY(areInOrder(*window.totalLabel, *window.totalHoursLabel));
        QVERIFY(areInOrder(*run.row(0).hoursLabel, *run.row(0).startStopButton));
        QWidget& chosen = run.row(0);
        QCOMPARE(painted(chosen, 1).pixelColor(chosen.isRightToLeft() ? chosen.width() - 2 : 1, 9),
                 skin::color(skin::Role::ChosenMark));
        for (const int row : {0, 1, 2}) {
            const auto menu = run.row(row).menuForEvent();
            found << faults(*menu, u"row-menu-%1"_s.arg(row));
        }
        run.controller().wentOffline();
        found << faults(window, u"timesheet-offline"_s);
        run.controller().wentOnline();
        run.menulet->showFirstSteps(nullptr);
        run.test.time.advance(2s);
        found << faults(window, u"timesheet-hint"_s);
        run.controller().setHint(std::nullopt);
        run.key(window.isRightToLeft() ? Qt::Key_Left : Qt::Key_Right, Qt::ControlModifier);
        QCOMPARE(run.controller().currentDate(), QDate(2013, 1, 16));
        QVERIFY(areInOrder(*window.currentDateLabel, *window.goToTodayButton));
        found << faults(window, u"timesheet-other-day"_s);
        run.controller().setLoggedOut(true);
        found << faults(window, u"timesheet-signed-out"_s);
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }

    void editing_data() { languages(); }
    void editing()
    {
        speak();
        QStringList found;
        for (const auto timers : {AppRun::Timers::Hours, AppRun::Timers::Timestamps}) {
            const QString kind = timers == AppRun::Timers::Hours ? u"hours"_s : u"times"_s;
            TimesheetRun run(timers);
            run.add({.notes = "1, 2, 3: 4", .minutes = 83});
            run.open();
            run.row(0).edit();
            QWidget& window = run.window();
            window.resize(window.minimumSize());
            found << faults(window, u"edit-"_s + kind);
            QTest::keyClick(window.findChild<QWidget*>(u"datePicker"_s), Qt::Key_Down, Qt::AltModifier);
            QCOMPARE(QApplication::activePopupWidget()->findChild<QCalendarWidget*>()->firstDayOfWeek(),
                     QLocale().firstDayOfWeek());
            found << faults(*QApplication::activePopupWidget(), u"calendar"_s);
            const QIcon back =
                QApplication::activePopupWidget()->findChild<QAbstractButton*>(u"qt_calendar_prevmonth"_s)->icon();
            const skin::Image read = skin::imageNamed(window.isRightToLeft() ? "tw-forward.png" : "tw-back.png");
            QCOMPARE(back.pixmap(40).toImage(), QIcon(read.pixmap(window.devicePixelRatioF())).pixmap(40).toImage());
            QApplication::activePopupWidget()->close();
            QLineEdit& project =
                *window.findChild<QWidget*>(u"editTimerSheet"_s)->findChild<QLineEdit*>(u"textField"_s);
            project.setFocus();
            project.selectAll();
            QTest::keyClicks(&project, u"99"_s);
            found << faults(window, u"edit-unknown-"_s + kind);
            window.findChild<QAbstractButton*>(u"saveButton"_s)->click();
            found << faults(window, u"edit-message-"_s + kind);
        }
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }

    void newTimer_data() { languages(); }
    void newTimer()
    {
        speak();
        StartedRun run;
        run.menulet->showNewTimerWindow(nullptr);
        QWidget& window = *windowNamed(u"NewTimer"_s);
        QStringList found = faults(window, u"new-timer"_s);
        window.findChild<QAbstractButton*>(u"showDurationCheckButton"_s)->click();
        auto& duration = *window.findChild<QLineEdit*>(u"durationTextField"_s);
        QTest::keyClicks(&duration, u"0"_s);
        found << faults(window, u"new-timer-no-duration"_s);
        QTest::keyClicks(&duration, u"."_s);
        found << faults(window, u"new-timer-refused"_s);
        auto& project = *window.findChild<QLineEdit*>(u"textField"_s);
        QVERIFY(areInOrder(project, *window.findChild<QWidget*>(u"popupButton"_s)));
        project.setFocus();
        QTest::keyClick(&project, Qt::Key_Down);
        found << faults(*window.findChild<QListView*>(u"resultsTableView"_s)->window(), u"suggestions"_s);
        QTest::keyClicks(&project, u"99"_s);
        found << faults(window, u"new-timer-unknown"_s);
        QTest::keyClick(&project, Qt::Key_Down, Qt::AltModifier);
        found << faults(*QApplication::activePopupWidget(), u"pull-down"_s);
        QApplication::activePopupWidget()->close();
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }

    void others_data() { languages(); }
    void others()
    {
        speak();
        StartedRun run(u"Design"_s);
        run.menu().ensurePolished();
        run.menu().popup({0, 0});
        QStringList found = faults(run.menu(), u"menu"_s) + faults(run.view(), u"item"_s);
        run.menu().hide();
        run.menulet->showAboutWindow(nullptr);
        found << faults(*windowNamed(u"About"_s), u"about"_s);
        run.test.statusItem.whereabouts.onScreen = QRect(100, 0, 71, 22);
        run.menulet->showFirstSteps(nullptr);
        run.test.time.advance(2s);
        found << faults(*windowNamed(u"callout"_s), u"first-steps"_s);
        app::UpdateWindow update({u"2"_s, u"2"_s, u"1, 2, 3"_s, {}}, u"1"_s);
        for (const auto failed :
             {&app::WrenfoldMenulet::startNewTimerDidFailWithError, &app::WrenfoldMenulet::deleteTimerDidFailWithError,
              &app::WrenfoldMenulet::toggleTimerDidFailWithError, &app::WrenfoldMenulet::updateTimerDidFailWithError})
            ((*run.menulet).*failed)({});
        for (const platform::Alert& alert : run.test.alerts.shown) {
            if (described)
                *described << alert.title + u": "_s + alert.text << alert.buttons;
            for (const QString& text : QStringList{alert.title, alert.text} + alert.buttons)
                found << (!described && isPlain(text) ? u"alert: untranslated: "_s + text : QString());
        }
        found.removeAll(QString());
        update.present(true);
        found << faults(update, u"update"_s);
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(LanguagesTest)
#include "LanguagesTest.moc"

#include "skin/Sheet.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"

#include <QAccessible>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSignalSpy>
#include <QVBoxLayout>

using namespace skin;
using namespace Qt::StringLiterals;

namespace {

/// A window with a tool bar, two fields and a shortcut.
class Window : public QWidget
{
public:
    Window()
    {
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins({});
        toolBar->setFixedHeight(30);
        off->setEnabled(false);
        for (QWidget* part : {static_cast<QWidget*>(toolBar), static_cast<QWidget*>(first),
                              static_cast<QWidget*>(second), static_cast<QWidget*>(off)})
            layout->addWidget(part);
        layout->addStretch();
        connect(shortcut, &QShortcut::activated, this, [this] { ++shortcuts; });
        resize(400, 150);
        show();
        activateWindow();
        second->setFocus();
    }

    QPushButton* toolBar = new QPushButton(u"Tool"_s);
    QLineEdit* first = new QLineEdit;
    QLineEdit* second = new QLineEdit;
    QLineEdit* off = new QLineEdit;
    QShortcut* shortcut = new QShortcut(QKeySequence(u"Ctrl+K"_s), this);
    int shortcuts = 0;
};

/// Two fields and two buttons.
class EditSheet : public Sheet
{
public:
    explicit EditSheet(QWidget& window) : Sheet(window)
    {
        auto* layout = new QVBoxLayout(&body());
        off->setEnabled(false);
        for (QWidget* part : {static_cast<QWidget*>(name), static_cast<QWidget*>(off), static_cast<QWidget*>(no),
                              static_cast<QWidget*>(yes)})
            layout->addWidget(part);
        layout->addSpacing(100);
        setDefaultButton(yes);
    }

    QLineEdit* name = new QLineEdit;
    QLineEdit* off = new QLineEdit;
    QPushButton* no = new QPushButton(u"No"_s);
    QPushButton* yes = new QPushButton(u"Yes"_s);
};

void press(QWidget& window, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
{
    QTest::keyClick(window.window()->windowHandle(), key, modifiers);
}

} // namespace

class SheetTest final : public QObject
{
    Q_OBJECT

private slots:
    void init() { QApplication::setStyle(new support::StillStyle); }

    void blocksTheWindowAndGivesItBack()
    {
        Window window;
        EditSheet sheet(window);
        QSignalSpy closed(&sheet, &Sheet::closed);
        window.toolBar->setDefault(true);
        sheet.open();
        VERIFY_EACH(!window.toolBar->isDefault(), sheet.yes->isDefault());
        QCOMPARE(window.focusWidget(), sheet.name);
        VERIFY_EACH(!window.first->isEnabled(), !window.toolBar->isEnabled());
        QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {}, window.first->geometry().center());
        press(window, Qt::Key_X);
        QCOMPARE(window.first->text(), QString());
        QCOMPARE(sheet.name->text(), u"x"_s);
        press(window, Qt::Key_K, Qt::ControlModifier);
        QCOMPARE(window.shortcuts, 0);

        sheet.close();
        QCOMPARE(closed.count(), 1);
        VERIFY_EACH(!sheet.isVisible(), window.first->isEnabled(), !window.off->isEnabled());
        QCOMPARE(window.focusWidget(), window.second);
        VERIFY_EACH(window.toolBar->isDefault(), !sheet.yes->isDefault());
        press(window, Qt::Key_K, Qt::ControlModifier);
        QCOMPARE(window.shortcuts, 1);
    }

    void escapeAndReturn()
    {
        Window window;
        EditSheet sheet(window);
        const QSignalSpy no(sheet.no, &QPushButton::clicked);
        const QSignalSpy yes(sheet.yes, &QPushButton::clicked);
        sheet.open();
        press(window, Qt::Key_Return);
        QTRY_COMPARE(yes.count(), 1);
        press(window, Qt::Key_Tab);
        press(window, Qt::Key_Enter);
        QTRY_COMPARE(no.count(), 1);
        press(window, Qt::Key_Escape);
        QVERIFY(!sheet.isOpen());
    }

    void followsTheWindow()
    {
        Window window;
        EditSheet sheet(window);
        sheet.open();
        VERIFY_EACH(window.height() > 150, sheet.body().geometry().bottom() < window.height());
        window.resize(700, 10);
        QVERIFY(sheet.body().geometry().bottom() < window.height());
        window.resize(700, 500);
        QCOMPARE(sheet.geometry(), QRect(0, 0, 700, 500));
        QCOMPARE(sheet.body().geometry().top(), 0);
        QCOMPARE(sheet.body().geometry().center().x(), 349);

        const int before = sheet.body().height();
        sheet.name->setMinimumHeight(200);
        QTRY_VERIFY(sheet.body().height() > before);

        sheet.close();
        window.resize(700, 150);
        QCOMPARE(window.height(), 150);
        sheet.name->setMinimumHeight(0);
        sheet.open();
        QVERIFY(window.height() > 150);
        sheet.close();
        QCOMPARE(window.height(), 150);
    }

    void hangsBelowThePartNamed()
    {
        Window window;
        EditSheet sheet(window);
        sheet.setTopEdge(window.toolBar);
        sheet.setUsable({window.toolBar});
        sheet.open();
        QCOMPARE(sheet.y(), 30);
        QCOMPARE(sheet.geometry().bottom(), window.rect().bottom());
        QVERIFY(window.toolBar->isEnabled());
    }

    void stacks()
    {
        Window window;
        EditSheet lower(window);
        EditSheet upper(window);
        lower.open();
        lower.no->setFocus();
        upper.open();
        QCOMPARE(Sheet::openIn(window), &upper);
        QVERIFY(!lower.isEnabled());
        press(window, Qt::Key_Escape);
        QCOMPARE(Sheet::openIn(window), &lower);
        VERIFY_EACH(lower.isEnabled(), !window.first->isEnabled());
        QCOMPARE(window.focusWidget(), lower.no);
        // Closed below another.
        upper.open();
        lower.close();
        QVERIFY(!window.first->isEnabled());
        QCOMPARE(window.focusWidget(), upper.name);
        upper.close();
        QCOMPARE(Sheet::openIn(window), nullptr);
        VERIFY_EACH(window.first->isEnabled(), !window.off->isEnabled(), lower.isEnabled());
        QCOMPARE(window.focusWidget(), window.second);
    }

    void slides()
    {
        QApplication::setStyle(new support::StillStyle(true));
        Window window;
        EditSheet sheet(window);
        sheet.open();
        QVERIFY(sheet.body().y() < 0);
        QTRY_COMPARE(sheet.body().y(), 0);
        sheet.close();
        VERIFY_EACH(sheet.isVisible(), window.first->isEnabled());
        // Opened again on its way out.
        sheet.open();
        QTRY_COMPARE(sheet.body().y(), 0);
        QVERIFY(sheet.isVisible());
        sheet.close();
        QTRY_VERIFY(!sheet.isVisible());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(SheetTest)
#include "SheetTest.moc"

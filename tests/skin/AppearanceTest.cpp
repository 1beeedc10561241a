#include "../platform/BusMock.h"
#include "support/InRow.h"
#include "support/StillStyle.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include "skin/Backgrounds.h"
#include "skin/BlinkTicker.h"
#include "skin/Colors.h"
#include "skin/DesktopAppearance.h"
#include "skin/RunningButtonBackground.h"
#include "skin/Sheet.h"

#include <QBoxLayout>

using namespace Qt::StringLiterals;
using skin::Scheme;

namespace {

const QString PortalService = u"org.freedesktop.portal.Desktop"_s;
const QString PortalSettings = u"org.freedesktop.portal.Settings"_s;
const QString Appearance = u"org.freedesktop.appearance"_s;

/// The desktop's portal.
struct Portal : BusMock
{
    Portal()
        : BusMock(QDBusConnection::sessionBus(), PortalService, u"/org/freedesktop/portal/desktop"_s,
                  {PortalService, u"/org/freedesktop/portal/desktop"_s, PortalSettings})
    {
    }

    /// Its settings, as Python writes them.
    bool has(const QString& settings) const
    {
        return tell(u"AddMethod"_s,
                    {PortalSettings, u"ReadAll"_s, u"as"_s, u"a{sa{sv}}"_s, u"ret = {%1}"_s.arg(settings)});
    }
    bool change(const QString& space, const QString& key, const QVariant& value) const
    {
        const QVariantList arguments{space, key, QVariant::fromValue(QDBusVariant(value))};
        return tell(u"EmitSignal"_s, {PortalSettings, u"SettingChanged"_s, u"ssv"_s, arguments});
    }
};

QRgb middle(QWidget& widget)
{
    const QImage image = widget.grab().toImage();
    return image.pixel(image.rect().center());
}

class AppearanceTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_portal.isThere()); }

    void cleanup()
    {
        skin::setAppearance({});
        QApplication::setPalette(QPalette());
    }

    void asksTheDesktop()
    {
        const QString scheme = u"'org.freedesktop.appearance': {'color-scheme': dbus.UInt32(%1)}"_s;
        const QString gnome = u"'org.gnome.desktop.interface': {'enable-animations': %1}"_s;
        for (const auto& [settings, expected] :
             {std::pair{scheme.arg(0), skin::Appearance{Scheme::Light, false}},
              {scheme.arg(1), {Scheme::Dark, false}},
              {u"'org.freedesktop.appearance': {'color-scheme': dbus.UInt32(1), 'contrast': dbus.UInt32(1)}"_s,
               {Scheme::ClearDark, false}},
              {u"'org.gnome.desktop.a11y.interface': {'high-contrast': True}"_s, {Scheme::ClearLight, false}},
              {gnome.arg(u"False"_s), {Scheme::Light, true}},
              {scheme.arg(1) + u", "_s + gnome.arg(u"True"_s), {Scheme::Dark, false}},
              {u"'org.kde.kdeglobals.KDE': {'AnimationDurationFactor': '0'}"_s, {Scheme::Light, true}},
              {u"'org.kde.kdeglobals.KDE': {'AnimationDurationFactor': '0.5'}"_s, {Scheme::Light, false}},
              {u"'org.freedesktop.appearance': {'reduced-motion': dbus.UInt32(1)}"_s, {Scheme::Light, true}}}) {
            const support::InRow inRow(settings);
            skin::setAppearance({.scheme = Scheme::ClearDark, .still = !expected.still});
            QVERIFY(m_portal.has(settings));
            const skin::DesktopAppearance appearance;
            skin::setAppearance({.scheme = Scheme::ClearDark, .still = !expected.still}); // what it knew before asking
            QTRY_COMPARE(skin::appearance(), expected);
        }
    }

    void changesWhileItRuns()
    {
        // Its first answer says how it was before a change that it has told of meanwhile.
        QVERIFY(
            m_portal.has(u"}; self.EmitSignal('%1', 'SettingChanged', 'ssv', ['%2', 'color-scheme', dbus.UInt32(1)]); "
                         "ret = {'%2': {'color-scheme': dbus.UInt32(2), 'reduced-motion': dbus.UInt32(1)}"_s.arg(
                             PortalSettings, Appearance)));
        skin::EditTimerBackground drawn;
        QWidget ordinary;
        for (QWidget* widget : {static_cast<QWidget*>(&drawn), &ordinary})
            widget->resize(40, 40);
        ordinary.show(); // since Qt 6.6 one that is hidden follows when it is shown
        const skin::DesktopAppearance appearance;
        const QRgb ordinaryBefore = middle(ordinary);
        QCOMPARE(middle(drawn), 0xffeeeeeeu);
        QTRY_VERIFY(skin::appearance().still);
        QCOMPARE(skin::appearance().scheme, Scheme::Dark);
        QVERIFY2(qGray(middle(drawn)) < 0x40, QByteArray::number(middle(drawn), 16));
        QTRY_VERIFY2(qGray(middle(ordinary)) < 0x40, QByteArray::number(middle(ordinary), 16));
        QVERIFY(m_portal.change(Appearance, u"contrast"_s, 1U));
        QTRY_COMPARE(middle(drawn), 0xff000000u);
        VERIFY_EACH(m_portal.change(Appearance, u"color-scheme"_s, 2U), m_portal.change(Appearance, u"contrast"_s, 0U));
        QTRY_COMPARE(skin::appearance().scheme, Scheme::Light);
        QCOMPARE(middle(drawn), 0xffeeeeeeu);
        // The desktop's own palette is back.
        QTRY_COMPARE(middle(ordinary), ordinaryBefore);
    }

    void otherwiseThePaletteDecides()
    {
        // Without a preference, too.
        QVERIFY(m_portal.has(u"'org.freedesktop.appearance': {'color-scheme': dbus.UInt32(0), "
                             "'reduced-motion': dbus.UInt32(1)}"_s));
        const skin::DesktopAppearance appearance;
        QTRY_VERIFY(skin::appearance().still);
        const auto schemeOf = [](QRgb window, QRgb text) {
            QPalette palette{QColor(window)};
            for (const auto role : {QPalette::Base, QPalette::Button})
                palette.setColor(role, QColor(window));
            for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
                palette.setColor(role, QColor(text));
            QApplication::setPalette(palette);
            QCoreApplication::processEvents();
            return skin::appearance().scheme;
        };
        QCOMPARE(schemeOf(0x303030, 0xeeeeee), Scheme::Dark);
        QCOMPARE(schemeOf(0xe0e0e0, 0x222222), Scheme::Light);
        QCOMPARE(schemeOf(0x000000, 0xffffff), Scheme::ClearDark);
        QCOMPARE(schemeOf(0xffffff, 0x000000), Scheme::ClearLight);
    }

    void nothingMovesWhereNothingShould()
    {
        QApplication::setStyle(new support::StillStyle(true));
        for (const bool still : {false, true}) {
            const support::InRow inRow(still ? u"still"_s : u"moving"_s);
            const support::TestRun run;
            skin::setAppearance({});
            QWidget window;
            skin::RunningButtonBackground button(&window);
            button.resize(28, 28);
            button.setIsRunning(true);
            skin::Sheet sheet(window);
            auto* content = new QVBoxLayout(&sheet.body());
            content->addSpacing(80);
            window.resize(300, 300);
            window.show();
            QVERIFY(QTest::qWaitForWindowExposed(&window));
            QTRY_VERIFY(skin::BlinkTicker::sharedTicker().isActive());
            skin::setAppearance({.still = still});
            QTRY_COMPARE(skin::BlinkTicker::sharedTicker().isActive(), !still);
            sheet.open();
            QCOMPARE(sheet.body().y() < 0, !still);
        }
    }

private:
    const Portal m_portal;
};

} // namespace

QUILLON_OFFSCREEN_TEST_MAIN(AppearanceTest)
#include "AppearanceTest.moc"

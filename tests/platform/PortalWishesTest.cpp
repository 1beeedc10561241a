#include "SlowPeer.h"

#include "platform/linux/PortalWishes.h"

#include <QDBusMetaType>
#include <QTest>

using namespace Qt::StringLiterals;

class PortalWishesTest final : public QObject
{
    Q_OBJECT

private slots:
    // The portal is replaced while it owes its answer.
    void overtakenAnswerDoesNotCount()
    {
        using Settings = QMap<QString, QVariantMap>;
        qDBusRegisterMetaType<Settings>();
        const auto scheme = [](uint which) {
            return QVariant::fromValue(Settings{{u"org.freedesktop.appearance"_s, {{u"color-scheme"_s, which}}}});
        };
        const QString name = u"org.freedesktop.portal.Desktop"_s;
        SlowPeer portal(name, u"/org/freedesktop/portal/desktop"_s);
        QStringList told;
        const platform::PortalWishes wishes([&](const platform::DesktopWishes& now) {
            told << (!now.dark ? u"-"_s : *now.dark ? u"dark"_s : u"light"_s);
        });
        QTRY_COMPARE(portal.questions.size(), 1);
        QCOMPARE(portal.questions[0].member(), u"ReadAll"_s);
        portal.bus.unregisterService(name);
        portal.bus.registerService(name);
        QTRY_COMPARE(portal.questions.size(), 2);
        QCOMPARE(portal.questions[1].arguments(), portal.questions[0].arguments());
        portal.answer(0, scheme(2));
        portal.answer(1, scheme(1));
        QCOMPARE(told, QStringList{u"dark"_s});
    }
};

QTEST_GUILESS_MAIN(PortalWishesTest)
#include "PortalWishesTest.moc"

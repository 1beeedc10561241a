#include "platform/TextScaling.h"
#include "support/InRow.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TextScalingTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;

    void write(const QString& name, const QByteArray& text) const
    {
        QDir(m_folder.path()).mkpath(QFileInfo(name).path());
        QFile file(m_folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), text.size());
    }

private slots:
    /// A desktop of GNOME's with its settings in a file.
    void initTestCase()
    {
        write(u"schemas/gnome.gschema.xml"_s,
              R"(<schemalist><schema id="org.gnome.desktop.interface" path="/org/gnome/desktop/interface/">
                 <key name="text-scaling-factor" type="d"><default>1.0</default></key></schema></schemalist>)");
        QCOMPARE(QProcess::execute(u"glib-compile-schemas"_s, {m_folder.filePath(u"schemas"_s)}), 0);
        write(u"glib-2.0/settings/keyfile"_s,
              "[org/gnome/desktop/interface]\ntext-scaling-factor=" + qgetenv("FACTOR") + '\n');
        qputenv("GSETTINGS_SCHEMA_DIR", QFile::encodeName(m_folder.filePath(u"schemas"_s)));
        qputenv("GSETTINGS_BACKEND", "keyfile");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_folder.path()));
    }

    void followsTheDesktop()
    {
        using Variables = QList<std::pair<const char*, const char*>>;
        for (const auto& [row, variables, dpi] :
             {std::tuple("Wayland", Variables{{"XDG_SESSION_TYPE", "wayland"}}, qgetenv("DPI")),
              {"X11, where Qt knows", {{"XDG_SESSION_TYPE", "x11"}}, ""},
              {"X11 asked for", {{"XDG_SESSION_TYPE", "wayland"}, {"QT_QPA_PLATFORM", "xcb"}}, ""},
              {"Plasma's", {{"XDG_SESSION_TYPE", "wayland"}, {"QT_WAYLAND_FORCE_DPI", "144"}}, ""},
              {"the person's own", {{"QT_QPA_PLATFORM", "wayland"}, {"QT_FONT_DPI", "110"}}, "110"}}) {
            const support::InRow inRow(row);
            for (const char* each :
                 {"XDG_SESSION_TYPE", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_FONT_DPI", "QT_WAYLAND_FORCE_DPI"})
                qunsetenv(each);
            for (const auto& [name, value] : variables)
                qputenv(name, value);
            const QByteArray before = qgetenv("QT_FONT_DPI");
            {
                const platform::TextScaling scaling;
                QCOMPARE(qgetenv("QT_FONT_DPI"), dpi);
            }
            QCOMPARE(qgetenv("QT_FONT_DPI"), before);
        }
    }
};

QTEST_GUILESS_MAIN(TextScalingTest)
#include "TextScalingTest.moc"

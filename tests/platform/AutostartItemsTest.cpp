#include "platform/linux/AutostartItems.h"
#include "support/TestEnvironment.h"
#include "support/VerifyEach.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using platform::AutostartItems;

namespace {

/// A fresh autostart folder and what is listed in it.
class Folder
{
public:
    void write(const QString& name, const QByteArray& content) const
    {
        QDir().mkpath(m_path);
        QFile file(m_path + u'/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QByteArray read(const QString& name) const
    {
        QFile file(m_path + u'/' + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList files() const { return QDir(m_path).entryList(QDir::Files, QDir::Name); }
    QString path() const { return m_path; }
    QString elsewhere(const QString& name) const { return m_folders.path(name); }

private:
    support::TemporaryFolders m_folders;
    const QString m_path = m_folders.path(u"XDG_CONFIG_HOME"_s) + u"/autostart"_s;
};

constexpr auto Ours = "com.wrenfold.quillon.desktop"_L1;

} // namespace

class AutostartItemsTest final : public QObject
{
    Q_OBJECT
private slots:
    void anyPathIsStarted()
    {
        for (const QString& name : {u"quillon"_s, u"my  quillon "_s, u"\"quillon\" 'x'"_s, u"$HOME `id` ~*;&|"_s,
                                    u"a\\b\\\\s\\n"_s, u"Zeit Ä 時間"_s, u"100% %u"_s, u"a\nb\tc"_s}) {
            Folder folder;
            AutostartItems items;
            const QString program = folder.elsewhere(name);
            const QString proof = folder.elsewhere(u"started"_s);
            QFile script(program);
            QVERIFY(script.open(QIODevice::WriteOnly));
            script.write("#!/bin/sh\nprintf '%s|' \"$@\" >\"$(dirname \"$0\")/started.new\"\n"
                         "mv \"$(dirname \"$0\")/started.new\" \"$(dirname \"$0\")/started\"\n");
            script.close();
            QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));

            QVERIFY(items.insert(program, {u"--local"_s, u"a $b% \"c\" \\"_s}));
            QCOMPARE(QProcess::execute(u"desktop-file-validate"_s, {folder.path() + u'/' + Ours}), 0);
            QCOMPARE(items.snapshot(), std::vector<AutostartItems::Item>{{Ours}});
            QCOMPARE(items.resolve({Ours}), program);

            // A starter of one of the desktops, which for its own part starts no program with this character in its
            // path.
            if (!program.contains(u'%')) {
                QCOMPARE(QProcess::execute(u"gio"_s, {u"launch"_s, folder.path() + u'/' + Ours}), 0);
                QTRY_VERIFY(QFile::exists(proof));
                QFile said(proof);
                QVERIFY(said.open(QIODevice::ReadOnly));
                QCOMPARE(said.readAll(), QByteArray("--local|a $b% \"c\" \\|"));
            }
            VERIFY_EACH(items.remove({Ours}), folder.files().isEmpty());
        }
    }

    void listedOnce()
    {
        Folder folder;
        AutostartItems items;
        const mode_t before = umask(0);
        QVERIFY(items.insert(u"/old/quillon"_s, {}));
        umask(before);
        for (const QString& path : {folder.path(), folder.path() + u'/' + Ours})
            QVERIFY(!(QFile::permissions(path) & (QFile::WriteGroup | QFile::WriteOther)));
        VERIFY_EACH(items.insert(u"/opt/quillon"_s, {}), items.insert(u"/opt/quillon"_s, {}));
        QCOMPARE(folder.files(), QStringList{Ours});
        QCOMPARE(items.resolve({Ours}), u"/opt/quillon"_s);
    }

    void listedByAnotherFile()
    {
        for (const auto& [line, ours] : {std::pair("Exec=/opt/quillon --local\n", false),
                                         {"Exec=/opt/quillon\nHidden=true\n", true},
                                         {"Exec=/opt/quillon\nX-GNOME-Autostart-enabled=false\n", true},
                                         {"Exec=/opt/quillonette\n", true}}) {
            Folder folder;
            AutostartItems items;
            folder.write(u"timer.desktop"_s, QByteArray("[Desktop Entry]\nType=Application\nName=Timer\n") + line);
            QVERIFY(items.insert(u"/opt/quillon"_s, {}));
            QCOMPARE(folder.files().contains(Ours), ours);
        }
    }

    void itemsOfOthers()
    {
        Folder folder;
        AutostartItems items;
        const QByteArray other = "[Desktop Entry]\nType=Application\nName=Other\nExec=other\n";
        const QByteArray same = "[Desktop Entry]\nType=Application\nName=Quillon\nExec=\"/opt/quillon\" --local\n";
        folder.write(u"other.desktop"_s, other);
        folder.write(u"notes.txt"_s, same);
        QVERIFY(items.insert(u"/opt/quillon"_s, {}));
        folder.write(u"a second one.desktop"_s, same);

        const auto snapshot = items.snapshot();
        QVERIFY(snapshot);
        QCOMPARE(snapshot->size(), std::size_t(3));
        for (const auto& item : *snapshot) {
            if (items.resolve(item) == u"/opt/quillon"_s)
                QVERIFY(items.remove(item));
        }
        QCOMPARE(folder.files(), QStringList({u"notes.txt"_s, u"other.desktop"_s}));
        QCOMPARE(folder.read(u"other.desktop"_s), other);
        QVERIFY(!items.remove({Ours}));
    }

    void resolves()
    {
        const QByteArray head = "[Desktop Entry]\nType=Application\n";
        const QString none;
        for (const auto& [content, program] :
             {std::pair<QByteArray, QString>(head + "Exec=/opt/quillon %U\n", u"/opt/quillon"_s),
              {head + "Exec=/opt/\"a b\"/quillon -x\n", u"/opt/a b/quillon"_s},
              {QByteArray(head + "Exec=/opt/q\n").replace("\n", "\r\n"), u"/opt/q"_s},
              {head + "Exec=sh -c true\n", QStandardPaths::findExecutable(u"sh"_s)},
              {head + "Exec=no-such-program-here\n", none},
              {head + "[Desktop Action x]\nExec=/opt/quillon\n", none},
              {"[Desktop Entry]\nType=Link\nExec=/opt/quillon\n", none},
              {head + "Exec=\"/opt/quillon\n", u"/opt/quillon"_s},
              {"", none},
              {QByteArray(300000, '\0'), none}}) {
            Folder folder;
            AutostartItems items;
            folder.write(u"some.desktop"_s, content);
            QVERIFY2(items.resolve({u"some.desktop"_s}).value_or(none) == program, content.left(100));
        }
    }

    void listThatCannotBeOpened()
    {
        Folder folder;
        AutostartItems items;
        QCOMPARE(items.snapshot(), std::vector<AutostartItems::Item>());
        QCOMPARE(items.resolve({Ours}), std::nullopt);
        QDir().mkpath(QFileInfo(folder.path()).path());
        QFile inTheWay(folder.path());
        QVERIFY(inTheWay.open(QIODevice::WriteOnly));
        QCOMPARE(items.snapshot(), std::nullopt);
        VERIFY_EACH(!items.insert(u"/opt/quillon"_s, {}), !items.remove({Ours}));
    }
};

QTEST_GUILESS_MAIN(AutostartItemsTest)
#include "AutostartItemsTest.moc"

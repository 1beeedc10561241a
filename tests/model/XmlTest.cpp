#include "ModelRun.h"

#include "model/Xml.h"

#include "support/VerifyEach.h"

#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QTest>

using namespace Qt::StringLiterals;
using model::xml::Body;
using model::xml::Document;
using model::xml::Element;

class XmlTest : public QObject
{
    Q_OBJECT

private slots:
    void refuses()
    {
        QByteArray bomb = "<!DOCTYPE a [<!ENTITY e0 'ha'>";
        for (int i = 1; i < 40; ++i)
            bomb += "<!ENTITY e" + QByteArray::number(i) + " '&e" + QByteArray::number(i - 1) + ";&e" +
                    QByteArray::number(i - 1) + ";'>";
        const std::pair<const char*, QByteArray> rows[] = {
            {"nothing", ""},
            {"blanks", "  \n"},
            {"plain text", "Authentication failed for API request."},
            {"cut off", "<daily><for_day>Tue, 5 Mar 2024</for_d"},
            {"crossed", "<a><b></a></b>"},
            {"two roots", "<a/><b/>"},
            {"text behind", "<a/>b"},
            {"bare ampersand", "<a>R & D</a>"},
            {"unknown entity", "<a>&nbsp;</a>"},
            {"control character", "<a>\x01</a>"},
            {"NUL", QByteArray("<a>\0</a>", 8)},
            {"no UTF-8", "<a>\xe9</a>"},
            {"Latin 1 by its word", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xe9</a>"},
            {"page", "<!DOCTYPE html><html><head><meta charset=utf-8></head></html>"},
            {"own entities", "<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>"},
            {"entity bomb", bomb + "]><a>&e39;</a>"},
            {"deep", QByteArray("<a>").repeated(100'000) + QByteArray("</a>").repeated(100'000)},
            {"deep and cut off", QByteArray("<a>").repeated(100'000)},
            {"UTF-16", QByteArray("\xff\xfe<\0a\0/\0>\0", 10)},
            {"UTF-16 without a mark", QByteArray("<\0a\0/\0>\0", 8)},
            // More than anything of the service has, and much to keep in memory.
            {"millions of elements", "<a>" + QByteArray("<b/>").repeated(4'000'000) + "</a>"},
            {"a text of megabytes", "<a>" + QByteArray(10'000'001, 'x') + "</a>"}};
        for (const auto& [name, text] : rows) {
            const auto document = Document::parse(text);
            QVERIFY2(!document && !document.error().text.isEmpty(), name);
        }
    }

    void takesNoMoreMemoryThanTheText()
    {
        QByteArray text = "<daily>\n  <day_entries>\n";
        for (int id = 0; text.size() < 5'000'000; ++id)
            text += "    <day_entry>\n      <id>" + QByteArray::number(id) +
                    "</id>\n      <hours>1.25</hours>\n      <notes>Second pass</notes>\n    </day_entry>\n";
        text += "  </day_entries>\n</daily>\n";
        const qsizetype before = bytesInUse();
        const auto document = Document::parse(text);
        QVERIFY(document);
        QVERIFY2(bytesInUse() - before <= text.size(), qPrintable(QString::number(bytesInUse() - before)));
    }

    void readsTextsOfAnyLength()
    {
        // However the parser gets them: with signs of one to four bytes at every place where a piece may end.
        for (const char* sign : {"x", "\xc3\xa9", "\xe6\x97\xa5", "\xf0\x9f\xa7\x81", "&amp;"}) {
            for (qsizetype shift = 0; shift < 4; ++shift) {
                const QByteArray text = QByteArray(shift, '.') + QByteArray(sign).repeated(600'000);
                const auto document = Document::parse("<a><b>" + text + "</b><c>end</c></a>");
                QVERIFY(document);
                QVERIFY(document->root().child("b").text() == QString::fromUtf8(text).replace(u"&amp;"_s, u"&"_s));
                QCOMPARE(document->root().child("c").text(), u"end");
            }
        }
    }

    void readsNoFiles()
    {
        QTemporaryFile secret;
        QVERIFY(secret.open());
        secret.write("secret");
        secret.flush();
        const QByteArray file = secret.fileName().toUtf8();
        QVERIFY(!Document::parse("<!DOCTYPE a [<!ENTITY f SYSTEM 'file://" + file + "'>]><a>&f;</a>"));
        const auto included = Document::parse("<a xmlns:x=\"http://www.w3.org/2001/XInclude\"><x:include href=\"" +
                                              file + "\" parse=\"text\"/></a>");
        QVERIFY(!included || !included->root().text().contains(u"secret"_s));
    }

    void walks()
    {
        const auto document =
            Document::parse("\xef\xbb\xbf<?xml version=\"1.0\"?>\n<list> <item><deep><id>1</id></deep>"
                            "<id>2</id><ids>3</ids></item>\n<!-- between --><other/> <item/></list>");
        QVERIFY(document);
        const Element item = document->root().child("item");
        QCOMPARE(item.child("id").text(), u"2");
        QCOMPARE(item.descendant("id").text(), u"1");
        QCOMPARE(item.firstChild().name(), "deep");
        QCOMPARE(item.next().name(), "other");
        VERIFY_EACH(item.next("item"), !item.next("item").next("item"));
        // Stays within the element.
        VERIFY_EACH(!item.next("item").descendant("id"), !item.child("deep").descendant("ids"));
        QVERIFY(!document->root().descendant("list"));
    }

    void tellsEmptyFromMissing()
    {
        const auto document =
            Document::parse("<a><empty></empty><short/><t>true</t><T>True</T><n> 12.5x</n>"
                            "<mixed>R&amp;D <b>b</b><![CDATA[<&]]></mixed><cdata><![CDATA[true]]></cdata></a>");
        QVERIFY(document);
        const Element root = document->root();
        QVERIFY(root.child("missing").text().isNull());
        for (const char* name : {"empty", "short"}) {
            VERIFY_EACH(!root.child(name).text().isNull(), root.child(name).text().isEmpty());
            QVERIFY(!root.child(name).isTrue());
        }
        QCOMPARE(QList<bool>({root.child("t").isTrue(), root.child("cdata").isTrue()}), QList<bool>({true, true}));
        QCOMPARE(QList<bool>({root.child("T").isTrue(), root.child("missing").isTrue()}), QList<bool>({false, false}));
        QCOMPARE(root.child("n").number(), 12.5);
        QCOMPARE(root.child("missing").number(), 0.0);
        QCOMPARE(root.child("mixed").text(), u"R&D b<&");
    }

    void unescapesOnce()
    {
        const std::pair<QString, QString> rows[] = {
            {u"R&amp;D"_s, u"R&D"_s},
            {u"&amp;amp;"_s, u"&amp;"_s},
            {u"&lt;b&gt; &quot;x&quot; &apos;"_s, u"<b> \"x\" '"_s},
            {u"&#65;&#x42;&#X1F600;"_s, u"AB\U0001F600"_s},
            {u"&#0;&#xD800;&#x110000;&#-5;&#;&#x;&#+65;"_s, u"&#0;&#xD800;&#x110000;&#-5;&#;&#x;&#+65;"_s},
            {u"&nbsp; & &&amp; &amp"_s, u"&nbsp; & && &amp"_s},
            {u"plain"_s, u"plain"_s}};
        for (const auto& [escaped, text] : rows)
            QCOMPARE(model::xml::stringByUnescapingEntities(escaped), text);
        QVERIFY(model::xml::stringByUnescapingEntities(QString()).isNull());
    }

    void unescapesWhateverComesInGoodTime()
    {
        // The most that a document may hold in one element is ten times as much.
        for (const QString& piece : {u"&"_s, u"&a"_s, u"&#"_s, u"&amp;"_s}) {
            const QString text = piece.repeated(1'000'000);
            QElapsedTimer time;
            time.start();
            const QString unescaped = model::xml::stringByUnescapingEntities(text);
            QVERIFY2(time.elapsed() < 10'000, qPrintable(piece));
            QVERIFY(unescaped == (piece == u"&amp;" ? u"&"_s.repeated(1'000'000) : text));
        }
    }

    void writes()
    {
        Body body("request");
        body.addChild("notes", u"R&D <3 \"\u00e9\U0001F600\"\ttab\n\u0001\u0000x\xFFFE"_s + QChar(0xD800));
        body.addChild("none", QString());
        QCOMPARE(body.toPrettyXml(), QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<request>\n"
                                                "  <notes>R&amp;D &lt;3 \"\xc3\xa9\xf0\x9f\x98\x80\"\ttab\nx</notes>\n"
                                                "  <none></none>\n</request>\n"));
        QVERIFY(Document::parse(body.toPrettyXml()));
    }
};

QTEST_GUILESS_MAIN(XmlTest)
#include "XmlTest.moc"

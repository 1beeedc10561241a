#include "EditRun.h"

#include "support/TestMain.h"

using namespace Qt::StringLiterals;

class EditTimerTest : public QObject
{
    Q_OBJECT
private slots:
    void sendsTheHours();
};

void EditTimerTest::sendsTheHours()
{
    EditRun run;
    const QString id = run.book();
    run.edit();
    QVERIFY(run.isOpen());
    QCOMPARE(run.window()->focusWidget(), &run.project());
    QCOMPARE(run.project().text(), u"[W1] Website"_s);
    QCOMPARE(run.task().text(), u"Design"_s);
    QCOMPARE(run.notes().text(), u"First draft"_s);
    QCOMPARE(run.hours().text(), u"1:30"_s);
    QCOMPARE(run.date().date(), QDate(2013, 1, 15));
    run.save();
    QVERIFY(!run.isOpen());
    QCOMPARE(run.sent(), QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                    "<request>\n"
                                    "  <id>1</id>\n"
                                    "  <notes>First draft</notes>\n"
                                    "  <project_id>1</project_id>\n"
                                    "  <task_id>1</task_id>\n"
                                    "  <spent_at>Tue, 15 Jan 2013</spent_at>\n"
                                    "  <hours>1.50</hours>\n"
                                    "</request>\n"));
    QCOMPARE(run.target, u"/daily/update/1"_s);
}

QUILLON_OFFSCREEN_TEST_MAIN(EditTimerTest)
#include "EditTimerTest.moc"

#include "../support/InRow.h"
#include "../support/Limit.h"
#include "../support/UnreadableStore.h"

#include "store/Context.h"
#include "store/Coordinator.h"
#include "store/Utc.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include "support/VerifyEach.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <future>
#include <random>
#include <thread>

#include <sys/fsuid.h>
#include <unistd.h>

using namespace store;
using namespace Qt::StringLiterals;
using Operator = Condition::Operator;

namespace {

const QByteArray BoxesAndNotes = R"({"entities": [
  {"name": "Box", "attributes": {"label": "String", "size": "Integer"},
   "toMany": {"notes": {"to": "Note", "inverse": "box"},
              "stickers": {"to": "Sticker", "inverse": "box", "deleteRule": "cascade"}},
   "fetched": {"openNotes": {"of": "notes", "attribute": "open", "equals": true}},
   "unique": [["label"]]},
  {"name": "Note", "attributes": {"key": "String", "text": "String", "weight": "Double", "open": "Boolean",
                                  "madeAt": "Date"},
   "toOne": {"box": {"to": "Box", "inverse": "notes"}, "owner": {"to": "Box"}},
   "unique": [["owner", "key"]]},
  {"name": "Sticker", "attributes": {"key": "String"}, "toOne": {"box": {"to": "Box", "inverse": "stickers"}}}
]})";

class Thing : public Object
{
};

/// Without a file yet.
std::shared_ptr<Coordinator> coordinator(const QByteArray& model = BoxesAndNotes)
{
    const ObjectFactory make = [] { return std::make_unique<Thing>(); };
    return std::make_shared<Coordinator>(
        *Model::fromJson(model),
        std::unordered_map<std::string, ObjectFactory>{{"Box", make}, {"Note", make}, {"Sticker", make}});
}

/// Null when it cannot be opened.
std::shared_ptr<Coordinator> coordinator(const QString& file, const QByteArray& model = BoxesAndNotes)
{
    auto made = coordinator(model);
    return made->addStore(file) ? made : nullptr;
}

/// Those of the objects, joined by blanks.
QString keys(const std::vector<Object*>& objects)
{
    QStringList list;
    for (const Object* object : objects)
        list << object->string("key");
    return list.join(u' ');
}

/// Has no more rights to files than others, also where the tests run as root. Of this thread.
class Stranger
{
public:
    Stranger()
    {
        if (geteuid() == 0)
            setfsuid(65534);
    }
    ~Stranger() { setfsuid(geteuid()); }
    Q_DISABLE_COPY_MOVE(Stranger)
};

void runSql(const QString& file, const char* sql)
{
    SQLite::Database(file.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(sql);
}

/// Everything in the folder by its name, with the bits of its mode. Without SQLite's index of a log, which is no data.
QMap<QString, QByteArray> contents(const QString& folder)
{
    QMap<QString, QByteArray> all;
    for (const QFileInfo& entry : QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        if (entry.fileName().endsWith("-shm"_L1))
            continue;
        QFile file(entry.filePath());
        all[entry.fileName()] = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        all[entry.fileName()] += QByteArray::number(int(entry.permissions()), 16);
    }
    return all;
}

/// A file with the coordinator, a long-lived context that follows, and others that work beside it.
struct Desk
{
    QTemporaryDir folder;
    QString file = folder.filePath(u"s.sqlite"_s);
    std::shared_ptr<Coordinator> shared = coordinator(file);
    Context main{shared, MergePolicy::Overwrite};

    std::unique_ptr<Context> worker()
    {
        auto context = std::make_unique<Context>(shared, MergePolicy::PropertyObjectTrump);
        context->setDidSave([this](std::shared_ptr<const ChangeSet> changes) { saved = std::move(changes); });
        return context;
    }
    std::shared_ptr<const ChangeSet> saved;

    static Object& note(Context& context, const QString& key, Object* box = nullptr, Object* owner = nullptr)
    {
        Object& note = context.insert("Note");
        note.setValue("key", key);
        note.setToOne("box", box);
        note.setToOne("owner", owner);
        return note;
    }
    static Object& box(Context& context, const QString& label)
    {
        Object& box = context.insert("Box");
        box.setValue("label", label);
        return box;
    }
    static Object* byKey(Context& context, const QString& key) { return context.fetchFirst("Note", where("key", key)); }
};

/// With the boxes A and B, and the note 1 in A.
struct Boxes : Desk
{
    Boxes()
    {
        QVERIFY(main.save());
        QCOMPARE(keys(a.toMany("notes")), u"1"_s);
        QVERIFY(b.toMany("notes").empty());
    }
    Object& a = box(main, u"A"_s);
    Object& b = box(main, u"B"_s);
    Object& one = note(main, u"1"_s, &a);
};

} // namespace

class StoreTest : public QObject
{
    Q_OBJECT
private slots:
    void valuesSurviveTheFile()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"s.sqlite"_s);
        const QDateTime made(QDate(2024, 3, 5), QTime(9, 15, 0, 250), store::Utc);
        const QString text = u"Zürich 日本 😀 \"quoted\" 'x' \n"_s + QChar(u'\0') + u"after"_s;
        {
            Context context(coordinator(file), MergePolicy::Overwrite);
            Object& note = Desk::note(context, u"1"_s, &Desk::box(context, u"A"_s));
            note.setValue("text", text);
            note.setValue("weight", 0.1);
            note.setValue("open", true);
            note.setValue("madeAt", made);
            QVERIFY(context.save());
        }
        QCOMPARE(QFile::permissions(file) & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteOther),
                 QFile::Permissions());
        Context context(coordinator(file), MergePolicy::Overwrite);
        const Object* note = Desk::byKey(context, u"1"_s);
        QCOMPARE(note->string("text"), text);
        QCOMPARE(note->number("weight"), 0.1);
        QVERIFY(note->boolean("open"));
        QCOMPARE(note->date("madeAt"), made);
        QCOMPARE(note->toOne("box")->string("label"), u"A"_s);
        QVERIFY(isNull(note->toOne("box")->value("size")));
    }

    void queries()
    {
        const std::vector<SortKey> byKey{{"key"}};
        const std::tuple<const char*, Predicate, std::vector<SortKey>, QString> rows[] = {
            {"texts sort by code point", {}, byKey, u"100 99 a \uE000 😀"_s},
            {"descending, nulls last", {}, {{"weight", false}, {"key"}}, u"a 99 100 \uE000 😀"_s},
            {"range", where("weight", Operator::GreaterOrEqual, 1.0) && where("weight", Operator::Less, 3.0), byKey,
             u"100 99"_s},
            {"not equal holds for null", where("open", Operator::NotEqual, true), byKey, u"99 a \uE000 😀"_s},
            {"null", where("weight", Value()), byKey, u"\uE000 😀"_s},
            {"a null string is null", where("box.label", QString()), byKey, u"\uE000 😀"_s},
            {"not null", where("weight", Operator::NotEqual, Value()), byKey, u"100 99 a"_s},
            {"through a relationship", where("box.label", u"B"_s), byKey, u"99 a"_s},
            {"through one twice", where("box.label", Operator::NotEqual, u"A"_s) && where("box.label", u"B"_s), byKey,
             u"99 a"_s},
            {"sorted through a relationship",
             where("weight", Operator::Greater, 0.0),
             {{"box.label"}, {"key", false}},
             u"100 a 99"_s},
            {"leads nowhere", where("box", static_cast<const Object*>(nullptr)), byKey, u"\uE000 😀"_s},
            {"hostile text", where("key", u"' OR 1=1 --"_s), byKey, u""_s}};
        for (const auto& [name, predicate, sortKeys, expected] : rows) {
            const support::InRow row(name);

            Desk desk;
            Object& a = Desk::box(desk.main, u"A"_s);
            Object& b = Desk::box(desk.main, u"B"_s);
            Object& first = Desk::note(desk.main, u"100"_s, &a);
            first.setValue("weight", 1.0);
            first.setValue("open", true);
            Desk::note(desk.main, u"a"_s, &b).setValue("weight", 3.0);
            Desk::note(desk.main, u"99"_s, &b).setValue("weight", 2.0);
            Desk::note(desk.main, u"😀"_s);
            Desk::note(desk.main, u"\uE000"_s);

            // The same answer from memory alone, from the file alone, and from a mixture of both.
            const FetchRequest request{"Note", predicate, sortKeys};
            QCOMPARE(keys(desk.main.fetch(request)), expected);
            QVERIFY(desk.main.save());
            QCOMPARE(keys(desk.worker()->fetch(request)), expected);
            const auto half = desk.worker();
            Desk::byKey(*half, u"99"_s)->setValue("text", u"changed"_s);
            half->fetchFirst("Box", where("label", u"B"_s))->setValue("size", std::int64_t(1));
            QCOMPARE(keys(half->fetch(request)), expected);
        }
    }

    void queriesSeeUnsavedChanges()
    {
        Desk desk;
        Object& a = Desk::box(desk.main, u"A"_s);
        Object& moved = Desk::note(desk.main, u"moved"_s, &a);
        Object& gone = Desk::note(desk.main, u"gone"_s, &a);
        Desk::note(desk.main, u"stays"_s, &a);
        QVERIFY(desk.main.save());

        moved.setValue("key", u"renamed"_s);
        desk.main.remove(gone);
        Desk::note(desk.main, u"new"_s, &a);
        const FetchRequest inA{"Note", where("box.label", u"A"_s), {{"key"}}};
        QCOMPARE(keys(desk.main.fetch(inA)), u"new renamed stays"_s);
        VERIFY_EACH(!Desk::byKey(desk.main, u"moved"_s), !Desk::byKey(desk.main, u"gone"_s));
        // What comes first in the store may have stopped matching.
        QCOMPARE(desk.main.fetchFirst("Note", where("key", Operator::NotEqual, u"renamed"_s))->string("key"),
                 u"stays"_s);

        a.setValue("label", u"Z"_s);
        QVERIFY(desk.main.fetch(inA).empty());
        QCOMPARE(desk.worker()->fetch(inA).size(), std::size_t(3));
        // Nor is the first of all notes the first in a box that has just got this label.
        Object& b = Desk::box(desk.main, u"B"_s);
        Desk::note(desk.main, u"last"_s, &b);
        QVERIFY(desk.main.save());
        b.setValue("label", u"Y"_s);
        QCOMPARE(desk.main.fetchFirst("Note", where("box.label", u"Y"_s))->string("key"), u"last"_s);
    }

    void scansShowWhatFetchesFind()
    {
        Desk desk;
        Object& box = Desk::box(desk.main, u"box"_s);
        Desk::note(desk.main, u"a"_s, &box).setValue("open", true);
        Desk::note(desk.main, u"b"_s, &box);
        Desk::note(desk.main, u"c"_s);
        QVERIFY(desk.main.save());

        const auto context = desk.worker();
        const Object* sameBox = context->find(box.id());
        const auto scanned = [&] {
            QStringList lines;
            context->scan(
                "Note", where("box", sameBox), {"key", "open"}, {"box", "owner"}, [&](const Context::Glimpse& note) {
                    const bool* open = std::get_if<bool>(&note.attributes[1]);
                    lines << u"%1 %2 %3%4"_s
                                 .arg(std::get<QString>(note.attributes[0]), open ? QString::number(*open) : u"-"_s)
                                 .arg(note.toOnes[0] == box.id().row)
                                 .arg(note.toOnes[1]);
                });
            return lines;
        };
        QCOMPARE(scanned(), QStringList({u"a 1 10"_s, u"b - 10"_s}));

        // None of them is in memory: what is changed beside the context is seen.
        Desk::byKey(desk.main, u"a"_s)->setValue("text", u"beside"_s);
        QVERIFY(desk.main.save());
        Object* first = Desk::byKey(*context, u"a"_s);
        QCOMPARE(first->string("text"), u"beside"_s);
        QCOMPARE(scanned(), QStringList({u"a 1 10"_s, u"b - 10"_s}));
        first->setValue("open", false);
        context->remove(*Desk::byKey(*context, u"b"_s));
        Desk::byKey(*context, u"c"_s)->setToOne("box", context->find(box.id()));
        QCOMPARE(scanned(), QStringList({u"a 0 10"_s, u"c - 10"_s}));
    }

    void collectionsFollowBothSides()
    {
        Boxes desk;
        Object& two = Desk::note(desk.main, u"2"_s);
        two.setToOne("box", &desk.a);
        desk.one.setToOne("box", &desk.b);
        QCOMPARE(keys(desk.a.toMany("notes")), u"2"_s);
        QCOMPARE(keys(desk.b.toMany("notes")), u"1"_s);
        desk.one.setValue("open", true);
        two.setToOne("box", &desk.b);
        QCOMPARE(keys(desk.b.fetched("openNotes")), u"1"_s);
    }

    void collectionsFollowMergesOfWhatIsNotLoaded()
    {
        Boxes desk;
        Context reader(desk.shared, MergePolicy::Overwrite);
        Object* const other = reader.find(desk.b.id());
        QVERIFY(other->toMany("notes").empty());
        const auto worker = desk.worker();
        Desk::byKey(*worker, u"1"_s)->setToOne("box", worker->find(desk.b.id()));
        QVERIFY(worker->save());
        reader.mergeChanges(*desk.saved);
        QCOMPARE(keys(other->toMany("notes")), u"1"_s);
    }

    void deletionFollowsTheRules()
    {
        Boxes desk;
        desk.main.insert("Sticker").setToOne("box", &desk.a);
        QVERIFY(desk.main.save());
        const Ref<Object> box(&desk.a);

        desk.main.remove(desk.a);
        VERIFY_EACH(!box, !desk.one.toOne("box"), desk.main.fetch({"Sticker", {}, {}}).empty(), desk.main.save());
        const auto other = desk.worker();
        QVERIFY(other->fetch({"Sticker", {}, {}}).empty());
        QCOMPARE(other->fetch({"Box", {}, {}}).size(), std::size_t(1));
        QVERIFY(!Desk::byKey(*other, u"1"_s)->toOne("box"));
    }

    void mergeTakesOverWhatIsCleanHere()
    {
        Boxes desk;
        desk.one.setValue("text", u"mine"_s);
        const auto worker = desk.worker();
        Object* theirs = Desk::byKey(*worker, u"1"_s);
        theirs->setValue("text", u"theirs"_s);
        theirs->setValue("weight", 2.0);
        theirs->setToOne("box", worker->find(desk.b.id()));
        Desk::note(*worker, u"2"_s, worker->find(desk.b.id()));
        QVERIFY(worker->save());

        const auto before = desk.main.revision({"Note"});
        const auto boxesBefore = desk.main.revision({"Box"});
        desk.main.mergeChanges(*desk.saved);
        QVERIFY(desk.main.revision({"Note"}) != before);
        QCOMPARE(desk.main.revision({"Box"}), boxesBefore);
        QCOMPARE(desk.one.string("text"), u"mine"_s);
        QCOMPARE(desk.one.number("weight"), 2.0);
        QCOMPARE(desk.one.toOne("box"), &desk.b);
        QVERIFY(desk.a.toMany("notes").empty());
        QCOMPARE(keys(desk.b.toMany("notes")), u"1 2"_s);
        QVERIFY(desk.main.save());
        QCOMPARE(Desk::byKey(*desk.worker(), u"1"_s)->string("text"), u"mine"_s);
    }

    /// Whatever happens, on either side: 1,000 random steps, with bursts after which everything is fetched anew.
    void standingFetchesAnswerAsFetchesDo()
    {
        std::mt19937 random(11);
        Boxes desk;
        const auto step = [&](Context& context, int number) {
            const std::vector<Object*> boxes = context.fetch({"Box", {}, {}});
            Object* box = random() % 3 ? boxes[random() % boxes.size()] : nullptr;
            const std::vector<Object*> notes = context.fetch({"Note", {}, {}});
            Object* note = notes.empty() ? nullptr : notes[random() % notes.size()];
            const unsigned what = random() % 8;
            if (!note || what < 3)
                note = &Desk::note(context, QString::number(number), box, &*boxes.front());
            else if (what == 3)
                context.remove(*note);
            else if (what == 4)
                note->setToOne("box", box);
            if (what > 4 || (what < 3 && random() % 2))
                note->setValue("weight", random() % 5 ? Value(double(random() % 20)) : Value());
            if (number % 97 == 0 && boxes.size() > 1)
                context.remove(*boxes.back());
            else if (number % 97 == 50)
                Desk::box(context, u"Box %1"_s.arg(number));
        };
        for (int i = 0; i < 1000; ++i) {
            if (i % 3) {
                step(desk.main, i);
                QVERIFY(i % 5 || desk.main.save());
            } else {
                const auto worker = desk.worker();
                for (int burst = i % 200 ? 1 : 90; burst > 0; --burst)
                    step(*worker, i + 10000 * burst);
                QVERIFY(worker->save());
                desk.main.mergeChanges(*desk.saved);
            }
            if (i % 37 == 0)
                desk.main.forgetUnused("Note");
            Object* box = desk.main.fetchFirst("Box", where("label", u"B"_s));
            for (const FetchRequest& request :
                 {FetchRequest{"Note", where("box", box), {{"weight"}, {"key", false}}},
                  FetchRequest{"Note", where("weight", Operator::GreaterOrEqual, 5.0), {{"key"}}},
                  FetchRequest{"Note", where("weight", Operator::GreaterOrEqual, 5.0), {{"key", false}}},
                  FetchRequest{"Note", where("weight", Operator::Less, 5.0), {{"key"}}},
                  FetchRequest{"Note", where("box", &desk.a), {{"weight"}, {"key", false}}},
                  FetchRequest{"Note", where("weight", Operator::NotEqual, Value()), {{"weight", false}}}})
                QCOMPARE(keys(desk.main.fetchStanding(request)), keys(desk.main.fetch(request)));
        }
        for (int weight = 0; weight < 10; ++weight) { // more than are kept
            const FetchRequest request{"Note", where("weight", double(weight)), {{"key"}}};
            QCOMPARE(keys(desk.main.fetchStanding(request)), keys(desk.main.fetch(request)));
        }
    }

    void onlyWhatIsNeededIsKept()
    {
        Boxes desk;
        const Ref<Object> held(&Desk::note(desk.main, u"2"_s, &desk.a));
        Object& changed = Desk::note(desk.main, u"3"_s, &desk.a);
        QVERIFY(desk.main.save());
        changed.setValue("text", u"mine"_s);
        const auto worker = desk.worker();
        for (Object* note : worker->fetch({"Note", {}, {}}))
            note->setValue("weight", 7.0);
        QVERIFY(worker->save()); // and not merged: only what is read again is as it was stored
        desk.main.forgetUnused("Note");
        QString weights;
        for (const Object* note : desk.main.fetchStanding({"Note", where("box", &desk.a), {{"key"}}}))
            weights += QString::number(note->number("weight")) + note->string("text") + u' ';
        QCOMPARE(weights, u"7 0 0mine "_s);
        VERIFY_EACH(held.get()->number("weight") == 0, keys(desk.a.toMany("notes")) == u"1 2 3"_s);
    }

    void mergeDropsWhatWasDeleted()
    {
        Boxes desk;
        desk.one.setValue("text", u"changed here"_s);
        const Ref<Object> held(&desk.one);
        const auto worker = desk.worker();
        worker->remove(*Desk::byKey(*worker, u"1"_s));
        QVERIFY(worker->save());
        desk.main.mergeChanges(*desk.saved);
        VERIFY_EACH(!held, desk.a.toMany("notes").empty(), !Desk::byKey(desk.main, u"1"_s), !desk.main.hasChanges());
    }

    void propertiesThatChangedHereWin()
    {
        Desk desk;
        Desk::note(desk.main, u"1"_s).setValue("text", u"old"_s);
        QVERIFY(desk.main.save());

        const auto trump = desk.worker();
        Context overwrite(desk.shared, MergePolicy::Overwrite);
        Desk::byKey(*trump, u"1"_s)->setValue("weight", 1.0);
        Desk::byKey(overwrite, u"1"_s)->setValue("open", true);

        const auto other = desk.worker();
        Object* theirs = Desk::byKey(*other, u"1"_s);
        theirs->setValue("text", u"new"_s);
        theirs->setValue("weight", 9.0);
        theirs->setValue("open", false);
        QVERIFY(other->save());
        const auto theirSave = desk.saved;
        VERIFY_EACH(trump->save(), overwrite.save());
        overwrite.mergeChanges(*theirSave); // late
        const auto after = desk.worker();
        for (Context* context : {after.get(), &overwrite}) {
            const Object* note = Desk::byKey(*context, u"1"_s);
            QCOMPARE(note->string("text"), u"new"_s);
            QCOMPARE(note->number("weight"), 1.0);
            QVERIFY(note->boolean("open"));
        }
    }

    void deletedMeanwhile()
    {
        Desk desk;
        Desk::note(desk.main, u"1"_s);
        QVERIFY(desk.main.save());
        const auto trump = desk.worker();
        Context overwrite(desk.shared, MergePolicy::Overwrite);
        Desk::byKey(*trump, u"1"_s)->setValue("text", u"trump"_s);
        Desk::byKey(overwrite, u"1"_s)->setValue("text", u"overwrite"_s);

        const auto other = desk.worker();
        other->remove(*Desk::byKey(*other, u"1"_s));
        QVERIFY(other->save());
        const auto deleted = desk.saved;
        const ObjectId lost = Desk::byKey(*trump, u"1"_s)->id();
        VERIFY_EACH(trump->save(), !Desk::byKey(*trump, u"1"_s), !trump->find(lost));
        VERIFY_EACH(!Desk::byKey(*desk.worker(), u"1"_s), overwrite.save());
        QCOMPARE(Desk::byKey(*desk.worker(), u"1"_s)->string("text"), u"overwrite"_s);
        const Ref<Object> kept(overwrite.find(lost));
        overwrite.mergeChanges(*deleted); // late
        QVERIFY(kept);
    }

    void sameKeyMadeTwice()
    {
        Desk desk;
        const auto first = desk.worker();
        const auto second = desk.worker();
        Desk::note(*first, u"1"_s, nullptr, &Desk::box(*first, u"A"_s)).setValue("text", u"first"_s);
        Object& note = Desk::note(*second, u"1"_s);
        note.setValue("weight", 2.0);
        Object& later = Desk::box(*second, u"A"_s); // saved before what refers to it
        later.setValue("size", std::int64_t(7));
        for (const char* whose : {"box", "owner"})
            note.setToOne(whose, &later);
        second->confirm(note);
        VERIFY_EACH(first->save(), second->save());

        QCOMPARE(desk.saved->confirmed.front().row, note.id().row); // that of the first
        QCOMPARE(note.string("text"), u"first"_s);                  // what the first one set is known here, too
        QCOMPARE(note.toOne("box"), &later);
        QCOMPARE(second->find(later.id()), &later);
        const auto after = desk.worker();
        QCOMPARE(after->fetch({"Box", {}, {}}).size(), std::size_t(1));
        const std::vector<Object*> notes = after->fetch({"Note", {}, {}});
        QCOMPARE(keys(notes), u"1"_s);
        QCOMPARE(notes.front()->string("text"), u"first"_s);
        QCOMPARE(notes.front()->number("weight"), 2.0);
        QCOMPARE(notes.front()->toOne("box")->integer("size"), std::int64_t(7));
        // One that is deleted in the same save makes way.
        second->remove(later);
        Desk::box(*second, u"A"_s).setValue("size", std::int64_t(8));
        QVERIFY(second->save());
        QCOMPARE(desk.worker()->fetchFirst("Box", where("label", u"A"_s))->integer("size"), std::int64_t(8));
        // Both may be in memory by then, and one stays.
        const auto other = desk.worker();
        Object& theirs = Desk::box(*other, u"B"_s);
        theirs.setValue("size", std::int64_t(9));
        QVERIFY(other->save());
        Desk::box(*second, u"B"_s).setValue("size", std::int64_t(10));
        Object* known = second->find(theirs.id());
        QVERIFY(second->save());
        QCOMPARE(known->integer("size"), std::int64_t(10));
        other->mergeChanges(*desk.saved);
        QCOMPARE(theirs.integer("size"), std::int64_t(10));
        // Without an owner the key is no key.
        Desk::note(*second, u"2"_s);
        Desk::note(*second, u"2"_s);
        QVERIFY(second->save());
    }

    // Of a box that is gone the number is not given again while a note still has it as its owner.
    void rowsThatAreReferredToStayTaken()
    {
        Desk desk;
        Object& box = Desk::box(desk.main, u"A"_s);
        Desk::note(desk.main, u"1"_s, nullptr, &box);
        QVERIFY(desk.main.save());
        desk.main.remove(box);
        QVERIFY(desk.main.save());
        Context again(coordinator(desk.file), MergePolicy::Overwrite);
        Desk::box(again, u"B"_s);
        VERIFY_EACH(again.save(), !Desk::byKey(again, u"1"_s)->toOne("owner"));
    }

    // By what SQLite says when a note is inserted.
    void failuresThatEndTheUseOfAFile()
    {
        static int s_code;
        const auto provide = [](sqlite3* connection, const char**, const void*) {
            return sqlite3_create_function(
                connection, "fails", 0, SQLITE_UTF8, nullptr,
                [](sqlite3_context* call, int, sqlite3_value**) {
                    if (s_code)
                        sqlite3_result_error_code(call, s_code);
                },
                nullptr, nullptr);
        };
        const auto entry = reinterpret_cast<void (*)()>(+provide);
        sqlite3_auto_extension(entry);
        const QList<int> stay{SQLITE_BUSY, SQLITE_LOCKED, SQLITE_INTERRUPT, SQLITE_NOMEM};
        for (const int code : QList<int>{SQLITE_ERROR, SQLITE_PERM, SQLITE_READONLY, SQLITE_IOERR, SQLITE_CORRUPT,
                                         SQLITE_FULL, SQLITE_CANTOPEN, SQLITE_NOLFS, SQLITE_NOTADB} +
                                  stay) {
            const support::InRow row(QString::fromLatin1(sqlite3_errstr(code)));
            Desk desk;
            runSql(desk.file, "CREATE TRIGGER inserts BEFORE INSERT ON Note BEGIN SELECT fails(); END");
            s_code = code;
            Desk::note(desk.main, u"1"_s);
            QCOMPARE(desk.main.save().has_value(), !stay.contains(code));
            QCOMPARE(desk.shared->failure().has_value(), !stay.contains(code));
            s_code = 0;
            QVERIFY(desk.main.save());
            QVERIFY(Desk::byKey(*desk.worker(), u"1"_s));
        }
        sqlite3_cancel_auto_extension(entry);
    }

    void nothingIsLeftOfAContextThatEnds()
    {
        Boxes desk;
        std::stop_source stop;
        auto worker = desk.worker();
        worker->setStop(stop.get_token());
        const Ref<Object> held(Desk::byKey(*worker, u"1"_s));
        Desk::note(*worker, u"2"_s);
        stop.request_stop();
        QVERIFY(!worker->save());
        worker.reset();
        VERIFY_EACH(!held, !Desk::byKey(desk.main, u"2"_s));
    }

    void releasedMemoryIsReadAgain()
    {
        Boxes desk;
        const std::int64_t before = sqlite3_memory_used();
        desk.main.releaseMemory();
        QVERIFY(sqlite3_memory_used() < before);
        QCOMPARE(keys(desk.main.fetch({"Note", {}, {}})), u"1"_s);
        desk.note(desk.main, u"2"_s, &desk.a);
        QVERIFY(desk.main.save());
        QCOMPARE(desk.byKey(*desk.worker(), u"2"_s)->string("key"), u"2"_s);
    }

    void nothingChangedWritesNothing()
    {
        Desk desk;
        Object& note = Desk::note(desk.main, u"1"_s);
        note.setValue("weight", 1.5);
        note.setValue("open", true);
        QVERIFY(desk.main.save());
        const auto worker = desk.worker();
        Object* same = Desk::byKey(*worker, u"1"_s);
        same->setValue("weight", 1.5);
        same->setValue("open", std::int64_t(1));
        same->setValue("key", u"1"_s);
        same->setValue("text", QString());
        VERIFY_EACH(!worker->hasChanges(), worker->save(), desk.saved->isEmpty());
    }

    void missingColumnsAreAdded()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"s.sqlite"_s);
        const QByteArray older = R"({"entities": [{"name": "Box", "attributes": {"label": "String"}}]})";
        {
            Context context(coordinator(file, older), MergePolicy::Overwrite);
            Desk::box(context, u"kept"_s);
            QVERIFY(context.save());
        }
        QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
        Context context(coordinator(file), MergePolicy::Overwrite);
        for (const QString& name : {file, file + u"-wal"_s, file + u"-shm"_s})
            QVERIFY2(!(QFile::permissions(name) & (QFile::ReadGroup | QFile::ReadOther)), qPrintable(name));
        Object* box = context.fetchFirst("Box", {});
        QCOMPARE(box->string("label"), u"kept"_s);
        box->setValue("size", std::int64_t(3));
        Desk::note(context, u"1"_s, box);
        QVERIFY(context.save());
    }

    /// Its days mean something else; the service has them all.
    void storesOfTheFirstVersionAreEmptied()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"s.sqlite"_s);
        for (const bool kept : {true, false}) {
            {
                Context context(coordinator(file), MergePolicy::Overwrite);
                Desk::box(context, u"box"_s);
                QVERIFY(context.save());
            }
            if (!kept)
                runSql(file, "PRAGMA user_version=1");
            Context context(coordinator(file), MergePolicy::Overwrite);
            QCOMPARE(context.fetchFirst("Box", {}) != nullptr, kept);
        }
    }

    void unusableStores_data()
    {
        using Arrange = std::function<void(const QString& file)>;
        QTest::addColumn<Arrange>("arrange");
        const std::pair<const char*, const char*> foreign[] = {
            {"newer", "CREATE TABLE Box (pk INTEGER PRIMARY KEY); PRAGMA user_version=999"},
            {"another program's", "CREATE TABLE bookmarks (url)"},
            {"another program's, of the same version", "CREATE TABLE bookmarks (url); PRAGMA user_version=2"},
            {"tables of another kind", "CREATE TABLE Box (label); PRAGMA user_version=2"}};
        for (const auto& [name, text] : foreign)
            QTest::newRow(name) << Arrange([sql = text](const QString& file) { runSql(file, sql); });
        QTest::newRow("no folder") << Arrange([](const QString& file) { QDir().rmdir(QFileInfo(file).path()); });
        QTest::newRow("a folder in its place") << Arrange([](const QString& file) { QDir().mkdir(file); });
        QTest::newRow("no database") << Arrange([](const QString& file) {
            QFile garbage(file);
            QVERIFY(garbage.open(QIODevice::WriteOnly));
            garbage.write(QByteArray(8192, 'x'));
        });
        QTest::newRow("newer, in its log alone") << Arrange([](const QString& file) {
            const QString made = file + u".made"_s;
            SQLite::Database writer(made.toStdString(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
            writer.exec("PRAGMA journal_mode=WAL; CREATE TABLE Box (pk INTEGER PRIMARY KEY); PRAGMA user_version=999");
            VERIFY_EACH(QFile::copy(made, file), QFile::copy(made + u"-wal"_s, file + u"-wal"_s));
        });
        QTest::newRow("no log can be made") << Arrange([](const QString& file) {
            coordinator(file).reset();
            QDir().mkdir(file + u"-wal"_s);
        });
        QTest::newRow("not to be written") << Arrange([](const QString& file) {
            coordinator(file).reset();
            QFile::setPermissions(QFileInfo(file).path(), QFile::Permissions(0x5005)); // r-x for owner and others
            QFile::setPermissions(file, QFile::Permissions(0x4004));
        });
        QTest::newRow("busy") << Arrange([](const QString& file) {
            static std::unique_ptr<SQLite::Database> other;
            coordinator(file).reset();
            other = std::make_unique<SQLite::Database>(file.toStdString(), SQLite::OPEN_READWRITE);
            other->exec("BEGIN IMMEDIATE");
        });
    }

    void unusableStores()
    {
        QFETCH(std::function<void(const QString&)>, arrange);
        QTemporaryDir folder;
        const QString home = folder.filePath(u"home"_s);
        const QString file = home + u"/s.sqlite"_s;
        QVERIFY(QDir().mkdir(home));
        QFile::setPermissions(folder.path(), QFile::permissions(folder.path()) | QFile::ExeOther);
        arrange(file);
        const auto before = contents(home);

        std::optional<Stranger> stranger;
        if (QByteArray(QTest::currentDataTag()) == "not to be written")
            stranger.emplace();
        auto shared = coordinator();
        QVERIFY(!QFile::exists(file) || !shared->examine(file));
        const auto added = shared->addStore(file, std::chrono::milliseconds(100));
        VERIFY_EACH(!added, !added.error().text.isEmpty());
        QCOMPARE(shared->failure()->text, added.error().text);

        // Everything goes on in memory, which all contexts share.
        Context main(shared, MergePolicy::Overwrite);
        Object& a = Desk::box(main, u"A"_s);
        Desk::note(main, u"1"_s, &a, &a);
        QVERIFY(main.save());
        Context worker(shared, MergePolicy::PropertyObjectTrump);
        worker.setDidSave([&](std::shared_ptr<const ChangeSet> changes) { main.mergeChanges(*changes); });
        Desk::note(worker, u"2"_s, worker.find(a.id()), worker.find(a.id()));
        QVERIFY(worker.save());
        QCOMPARE(keys(a.toMany("notes")), u"1 2"_s);
        stranger.reset();
        QVERIFY2(contents(home) == before, qPrintable(contents(home).keys().join(u' ')));
    }

    void busyFilesAreWaitedFor()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"s.sqlite"_s);
        coordinator(file).reset();
        SQLite::Database other(file.toStdString(), SQLite::OPEN_READWRITE);
        other.exec("BEGIN IMMEDIATE");
        auto opened = std::async(std::launch::async, [&] { return coordinator(file); });
        QCOMPARE(opened.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
        other.exec("ROLLBACK");
        QVERIFY(opened.get());
        // In the middle of a run nothing is given up for it either.
        auto shared = coordinator();
        QVERIFY(shared->addStore(file, std::chrono::milliseconds(1)));
        Context context(shared, MergePolicy::Overwrite);
        Desk::box(context, u"A"_s);
        other.exec("BEGIN IMMEDIATE");
        QVERIFY(!context.save());
        other.exec("ROLLBACK");
        VERIFY_EACH(context.save(), !shared->failure());
    }

    void filesThatFailMeanwhile_data()
    {
        using Break = std::function<void(const QString& file, std::optional<support::Limit>& disk)>;
        QTest::addColumn<Break>("breakFile");
        QTest::addColumn<bool>("loses");
        QTest::newRow("full disk") << Break([](auto&, auto& disk) { disk.emplace(RLIMIT_FSIZE); }) << false;
        QTest::newRow("overwritten") << Break([](auto& file, auto&) {
            QFile damaged(file);
            [[maybe_unused]] const bool opened = damaged.open(QIODevice::ReadWrite);
            damaged.write(QByteArray(static_cast<int>(damaged.size()), '\xff'));
            QFile::resize(file + u"-wal"_s, 0);
        }) << true;
        QTest::newRow("tables gone") << Break([](auto& file, auto&) {
            runSql(file, "DROP TABLE Note; DROP TABLE Box");
        }) << true;
        QTest::newRow("deleted") << Break([](auto& file, auto&) { QFile::remove(file); }) << true;
    }

    void filesThatFailMeanwhile()
    {
        QFETCH(std::function<void(const QString&, std::optional<support::Limit>&)>, breakFile);
        QFETCH(bool, loses);
        Desk desk;
        int told = 0;
        desk.shared->setDidLose([&] { ++told; });
        Object& a = Desk::box(desk.main, u"A"_s);
        a.setValue("size", std::int64_t(1));
        Object& one = Desk::note(desk.main, u"1"_s, &a, &a);
        Object& gone = Desk::note(desk.main, u"gone"_s, &a, &a);
        QVERIFY(desk.main.save());
        auto busy = desk.worker(); // has a connection and objects of its own
        Object* theirs = busy->find(a.id());
        theirs->setValue("size", std::int64_t(2));
        Desk::note(*busy, u"2"_s, theirs, theirs);
        one.setValue("text", u"mine"_s);
        desk.main.remove(gone);

        std::optional<support::Limit> disk;
        breakFile(desk.file, disk);
        auto late = desk.worker(); // needs another connection
        const bool lateSaw = Desk::byKey(*late, u"1"_s);
        QVERIFY(busy->save());
        desk.main.mergeChanges(*desk.saved);
        VERIFY_EACH(desk.main.save(), late->save());

        QVERIFY(desk.shared->failure());
        QCOMPARE(told, int(loses));
        QVERIFY(lateSaw || loses);
        QCOMPARE(a.integer("size"), std::int64_t(2));
        QCOMPARE(keys(a.toMany("notes")), u"1 2"_s);
        const auto after = desk.worker();
        const std::vector<Object*> notes = after->fetch({"Note", {}, {{"key"}}});
        QCOMPARE(keys(notes), u"1 2"_s);
        QCOMPARE(notes.front()->string("text"), u"mine"_s);
        QCOMPARE(notes.front()->toOne("box")->integer("size"), std::int64_t(2));
    }

    // Whoever keeps what it has read sees by the revision that there may be more.
    void failsForAMoment()
    {
        support::UnreadableStore store;
        Boxes desk;
        Context context(desk.shared, MergePolicy::Overwrite);
        Object* const box = context.find(desk.a.id());
        const FetchRequest all{"Note", {}, {}};
        const std::pair<const char*, std::function<bool()>> reads[] = {
            {"collection", [&] { return !box->toMany("notes").empty(); }},
            {"object", [&] { return context.find(desk.one.id()) != nullptr; }},
            {"fetch", [&] { return !context.fetch(all).empty(); }},
            {"standing fetch", [&] { return !context.fetchStanding(all).empty(); }}};
        for (const bool fails : {true, false}) {
            store.fails = fails;
            for (const auto& [name, finds] : reads) {
                const support::InRow row(name);
                const auto before = context.revision({"Note"});
                QCOMPARE(finds(), !fails);
                QCOMPARE(context.revision({"Note"}) != before, fails);
            }
        }
        QVERIFY(!desk.shared->failure());
    }

    void twoThreadsSave()
    {
        for (const QByteArray where : {"file", "memory", "file that fails meanwhile"}) {
            Desk desk;
            auto shared = where == "memory" ? coordinator() : desk.shared;
            Context main(shared, MergePolicy::Overwrite);
            Object& a = Desk::box(main, u"A"_s);
            QVERIFY(main.save());
            const ObjectId box = a.id();
            std::atomic<int> failed = 0;
            std::optional<support::Limit> full;
            const auto work = [&](int from) {
                for (int i = from; i < from + 50; ++i) {
                    if (i == 25 && where.size() > 6)
                        full.emplace(RLIMIT_FSIZE);
                    Context context(shared, MergePolicy::PropertyObjectTrump);
                    Object* owner = context.find(box);
                    Desk::note(context, QString::number(i), owner, owner);
                    owner->setValue("size", std::int64_t(i));
                    if (!context.save())
                        ++failed;
                }
            };
            std::thread other(work, 1000);
            work(0);
            other.join();
            QCOMPARE(failed.load(), 0);
            QCOMPARE(shared->failure().has_value(), full.has_value());
            QCOMPARE(a.toMany("notes").size(), std::size_t(100));
        }
    }
};

QTEST_GUILESS_MAIN(StoreTest)
#include "StoreTest.moc"

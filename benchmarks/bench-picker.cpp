// bench-picker
//
// Measures a key press in the picker with 5,000 projects, until its suggestions are on the screen, beside the least
// that finds them: filter, group and sort a list of names. Then its pull-down menu, from the press to the picture.
#include "Report.h"

#include "editing/ProjectQuillonAutocompleter.h"
#include "model/Client.h"
#include "model/Company.h"
#include "model/DataModel.h"
#include "model/DayEntry.h"
#include "model/User.h"
#include "model/UserAssignment.h"
#include "store/Context.h"
#include "store/Coordinator.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace bench {
namespace {

using namespace Qt::StringLiterals;

constexpr int ProjectCount = 5000;
constexpr int ClientCount = 100;
constexpr int Turns = 40;

QString projectName(int number)
{
    static const QStringList kinds{u"Website relaunch"_s, u"Annual report"_s, u"Booking"_s, u"Menu cards"_s,
                                   u"Photographs"_s};
    return u"%1 %2"_s.arg(kinds[number % kinds.size()]).arg(number);
}

QString clientName(int number)
{
    return u"Client & Sons %1"_s.arg(number * 7 % ClientCount);
}

/// The names alone, and the search in them.
class BareNames
{
public:
    BareNames()
    {
        for (int i = 0; i < ProjectCount; ++i)
            m_names.emplace_back(clientName(i), projectName(i));
    }
    std::size_t search(const QString& text) const
    {
        std::map<QString, std::vector<QString>> groups;
        for (const auto& [client, name] : m_names) {
            if (name.contains(text, Qt::CaseInsensitive))
                groups[client].push_back(name);
        }
        std::size_t found = 0;
        for (auto& [client, names] : groups) {
            std::sort(names.begin(), names.end());
            found += names.size();
        }
        return found;
    }

private:
    std::vector<std::pair<QString, QString>> m_names;
};

/// A window with the picker in it.
class Picker
{
public:
    Picker()
        : m_coordinator(std::make_shared<store::Coordinator>(model::loadModel(), model::objectFactories())),
          m_context(m_coordinator, store::MergePolicy::Overwrite)
    {
        auto& company = model::Company::findOrCreateCompany(u"large"_s, m_context);
        auto& user = company.insertWithId<model::User>(u"1"_s, m_context);
        std::vector<model::Client*> clients;
        for (int i = 0; i < ClientCount; ++i) {
            clients.push_back(&company.insertWithId<model::Client>(QString::number(i + 1), m_context));
            clients.back()->setName(clientName(i));
        }
        for (int i = 0; i < ProjectCount; ++i) {
            auto& project = company.insertWithId<model::Project>(QString::number(i + 1), m_context);
            project.setName(projectName(i));
            m_renamed = &project;
            project.setClient(clients[static_cast<std::size_t>(i % ClientCount)]);
            auto& assignment = company.insertWithId<model::UserAssignment>(QString::number(i + 1), m_context);
            assignment.setUser(&user);
            assignment.setProject(&project);
        }
        auto& entry = company.insertWithId<model::DayEntry>(model::DayEntry::NewEntryId, m_context);
        entry.setUser(&user);

        m_window.resize(320, 220);
        m_picker = std::make_unique<editing::ProjectQuillonAutocompleter>();
        m_picker->setEntry(&entry);
        m_picker->addToView(m_window, {14, 38});
        m_window.show();
        m_window.activateWindow();
        m_picker->textField()->setFocus();
        press(u"w"_s);
    }

    /// As a refresh does that brings another name. Milliseconds until everything is quiet again.
    double changeCatalog()
    {
        const double before = processorTime();
        m_renamed->setName(projectName(++m_renames));
        m_picker->catalogDidChange();
        draw();
        return (processorTime() - before) * 1000;
    }

    /// Milliseconds from the key to the picture. `text` takes the place of what was there.
    double press(const QString& text)
    {
        QLineEdit& field = *m_picker->textField();
        field.setText(text.chopped(1));
        draw();
        const double before = processorTime();
        QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, text.right(1));
        QCoreApplication::sendEvent(&field, &key);
        draw();
        return (processorTime() - before) * 1000;
    }

    /// Milliseconds until the menu is on the screen, with a choice that is to be seen.
    double popUp()
    {
        const double before = processorTime();
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Down, Qt::AltModifier);
        QCoreApplication::sendEvent(m_picker->textField(), &key);
        draw();
        const double time = (processorTime() - before) * 1000;
        m_picker->popupMenu().close();
        draw();
        return time;
    }

private:
    static void draw()
    {
        for (int round = 0; round < 3; ++round)
            QCoreApplication::processEvents();
    }

    std::shared_ptr<store::Coordinator> m_coordinator;
    store::Context m_context;
    model::Project* m_renamed = nullptr; ///< the last one
    int m_renames = 0;
    QWidget m_window;
    std::unique_ptr<editing::ProjectQuillonAutocompleter> m_picker;
};

double searchTime(const BareNames& names, const QString& text)
{
    const double before = processorTime();
    [[maybe_unused]] volatile std::size_t found = names.search(text);
    return (processorTime() - before) * 1000;
}

void measurePicker()
{
    const BareNames names;
    Picker picker;
    for (const auto& [what, typed] : {std::pair{"many match", u"r"_s}, std::pair{"few match", u"report 12"_s}}) {
        const Pairs measured = pairs(
            Turns, [&] { return picker.press(typed); }, [&] { return searchTime(names, typed); });
        report(text("picker of %d projects: a key, %s, of a bare search", ProjectCount, what), measured.ratio(), "x",
               {8, 3}, measured.detail("ms"));
        report("  until it is on the screen, at worst", largest(measured.ours), "ms", {16, 8}, "");
    }
    std::vector<double> changes;
    const Pairs renewed = pairs(
        Turns,
        [&] {
            changes.push_back(picker.changeCatalog());
            return picker.press(u"r"_s);
        },
        [&] { return searchTime(names, u"r"_s); });
    report("  the first key after the catalog changed, at worst", largest(renewed.ours), "ms", {16, 5},
           renewed.detail("ms") + text(", prepared in %.1f ms, %.1f at worst", median(changes), largest(changes)));
    std::vector<double> opened, reopened;
    for (int turn = 0; turn < Turns; ++turn) {
        picker.changeCatalog();
        opened.push_back(picker.popUp());
        reopened.push_back(picker.popUp());
    }
    report(text("pull-down menu of %d projects after the catalog changed, at worst", ProjectCount), largest(opened),
           "ms", {33, 16}, text("median %.1f ms", median(opened)));
    report("  opened once more, at worst", largest(reopened), "ms", {33, 16}, text("median %.1f ms", median(reopened)));
}

} // namespace
} // namespace bench

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    bench::measurePicker();
    return 0;
}

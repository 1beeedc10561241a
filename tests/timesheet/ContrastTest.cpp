#include "TimesheetRun.h"

#include "editing/DatePicker.h"
#include "editing/HUDCheckBox.h"
#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
#include "editing/QuillonAutocompleterResultsWindow.h"
#include "editing/TimesheetEditSheet.h"
#include "skin/Appearance.h"
#include "skin/HintCard.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"
#include "skin/RunningButtonBackground.h"
#include "support/TestMain.h"
#include "timesheet/NotesView.h"

#include <QCalendarWidget>
#include <QListView>
#include <QPlainTextEdit>
#include <QTableView>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

constexpr int Scale = 3; ///< so large that the strokes of letters have pixels of their own colour

double luminance(QRgb pixel)
{
    const auto part = [](int value) {
        const double share = value / 255.0;
        return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * part(qRed(pixel)) + 0.7152 * part(qGreen(pixel)) + 0.0722 * part(qBlue(pixel)) + 0.05;
}

double contrast(QRgb one, QRgb other)
{
    const double a = luminance(one);
    const double b = luminance(other);
    return std::max(a, b) / std::min(a, b);
}

/// What is on the screen in a window, over white where it is translucent, and how well it can be seen.
class Picture
{
public:
    explicit Picture(QWidget& window) : m_window(window), m_image(window.size() * Scale, QImage::Format_RGB32)
    {
        m_image.setDevicePixelRatio(Scale);
        m_image.fill(Qt::white);
        window.render(&m_image);
    }

    /// For people to look at.
    void save(const QString& name) const
    {
        const QString folder = qEnvironmentVariable("LOOKS_SHOTS");
        if (folder.isEmpty())
            return;
        for (const int scale : {1, 2}) {
            QImage image(m_window.size() * scale, QImage::Format_RGB32);
            image.setDevicePixelRatio(scale);
            image.fill(Qt::white);
            m_window.render(&image);
            QVERIFY(image.save(u"%1/%2-%3.png"_s.arg(folder, name).arg(scale)));
        }
    }
    QRgb at(QPointF point) const { return m_image.pixel((point * Scale).toPoint()); }
    /// Of the strongest pixels of what is drawn in the area, with the weakest of those left of it in their lines.
    double in(const QRect& area) const
    {
        const QRect pixels(area.topLeft() * Scale, area.size() * Scale);
        const auto ground = [&](int y) { return m_image.pixel(std::max(0, pixels.left() - 2), y); };
        double strongest = 0;
        QRgb ink = 0;
        int first = 0, last = 0;
        for (int y = pixels.top(); y < pixels.bottom(); ++y) {
            for (int x = pixels.left(); x < pixels.right(); ++x) {
                const double ratio = contrast(m_image.pixel(x, y), ground(y));
                if (ratio > strongest) {
                    strongest = ratio;
                    ink = m_image.pixel(x, y);
                }
                if (ratio > strongest / 2)
                    last = y;
                if (ratio > 1.5 && first == 0)
                    first = y;
            }
        }
        for (int y = std::max(first, pixels.top()); y <= last; ++y)
            strongest = std::min(strongest, contrast(ink, ground(y)));
        return strongest;
    }
    QRect of(const QWidget& part) const { return {part.mapTo(&m_window, QPoint()), part.size()}; }

private:
    QWidget& m_window;
    QImage m_image;
};

/// The row that a part is in, by its state.
QString stateOf(const QWidget& part)
{
    for (const QWidget* widget = &part; widget; widget = widget->parentWidget()) {
        if (const auto* cell = qobject_cast<const timesheet::TimesheetListViewCell*>(widget)) {
            const bool running = cell->runningButtonView->isRunning();
            return (running                           ? u"running "_s
                    : cell->lockedButton->isVisible() ? u"locked "_s
                                                      : u"stopped "_s) +
                   (cell->isSelected() ? u"chosen "_s : QString());
        }
    }
    return {};
}

bool isShown(const QWidget& part, const QWidget& window)
{
    const QPoint middle = part.mapTo(&window, part.rect().center());
    const QWidget* top = window.childAt(middle);
    return part.isVisible() && part.isEnabled() && (top == &part || part.isAncestorOf(top)) && !part.size().isEmpty();
}

class ContrastTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_tooLow.clear();
        m_names.clear();
        skin::setAppearance({.still = true}); // what opens is there at once
    }
    void cleanup() { skin::setAppearance({}); }

    void day()
    {
        TimesheetRun run{{.notes = "stopped", .minutes = 65},
                         {.notes = "running", .minutes = 5, .running = true},
                         {.notes = "locked", .minutes = 30, .lockedReason = "Approved"}};
        for (const int chosen : {0, 1, 2}) {
            run.list().setSelectedRow(chosen);
            inAllLooks([&] {
                const Picture picture = look(run.window());
                auto& cell = run.row(chosen);
                const QPoint middle = picture.of(cell).topLeft() + QPoint(0, cell.height() / 2);
                require(stateOf(cell) + u"mark"_s, 3,
                        contrast(picture.at(middle + QPoint(2, 0)), picture.at(middle + QPoint(7, 0))));
                const QPoint square = picture.of(*run.row(1).runningButtonView).center();
                require(u"square"_s, 3, contrast(picture.at(square), picture.at(square - QPoint(7, 0))));
            });
        }
        // The light look keeps its quiet grey for what is locked, and for texts on the blue of the running row.
        for (const QString& state : {u"locked"_s, u"locked chosen"_s, u"running"_s, u"running chosen"_s}) {
            for (const QString& text : {u"client"_s, u"project"_s, u"task"_s, u"hours"_s, u"notes"_s})
                m_tooLow.removeAll(u"Light %1 %2Label"_s.arg(state, text));
        }
        compare({u"stopped chosen mark"_s, u"locked lockedButton"_s, u"totalHoursLabel"_s, u"backButton"_s});
    }

    void emptyDay()
    {
        TimesheetRun run;
        run.open();
        run.window().setHint(
            skin::Hint{.title = u"Title"_s, .lines = {u"A line"_s}, .aside = u"Aside"_s, .link = u"Link"_s});
        run.window().setQuestion(skin::Hint{.title = u"Title"_s, .lines = {u"A line"_s}, .otherButton = u"Other"_s});
        run.window().setEmptyDayNote(u"Note"_s);
        run.window().resize(460, 760);
        run.window().offlineIndicator->show();
        inAllLooks([&] { look(run.window()); });
        compare({u"hintAside"_s, u"hintLink"_s, u"startNewTimerButton"_s, u"offlineLabel"_s, u"emptyDayNote"_s});
    }

    void editSheet()
    {
        TimesheetRun run{{.notes = "Notes", .minutes = 65}};
        run.window().resize(480, 600);
        run.list().setSelectedRow(0);
        run.key(Qt::Key_E);
        auto& sheet = *run.window().findChild<editing::TimesheetEditSheet*>();
        QTest::keyClicks(sheet.hoursField, u"x"_s);
        inAllLooks([&] { look(run.window()); });

        sheet.datePicker->showCalendar();
        QWidget* popup = QApplication::activePopupWidget();
        auto* days = popup->findChild<QTableView*>();
        inAllLooks([&] {
            const Picture picture(*popup);
            picture.save(scene());
            for (int row = 0; row < days->model()->rowCount(); ++row) {
                for (int column = 0; column < 7; ++column) {
                    const QRect cell = days->visualRect(days->model()->index(row, column)).adjusted(3, 3, -3, -3);
                    require(u"day %1 %2"_s.arg(row).arg(column), 4.5,
                            picture.in(cell.translated(picture.of(*days->viewport()).topLeft())));
                }
            }
        });
        popup->close();

        auto& project = *qobject_cast<QLineEdit*>(run.window().focusWidget());
        project.selectAll();
        QTest::keyClicks(&project, u"w"_s);
        const auto* list = run.window().findChild<QListView*>(u"resultsTableView"_s);
        VERIFY_EACH(list, list->isVisible());
        inAllLooks([&] {
            const Picture picture(*list->window());
            picture.save(scene());
            for (int row = 0; row < list->model()->rowCount(); ++row) {
                const QRect line = list->visualRect(list->model()->index(row, 0)).adjusted(5, 3, -20, -3);
                require(u"suggestion %1"_s.arg(row), 4.5, picture.in(line));
            }
        });
        sheet.notesField->setText({});
        QTest::keyClicks(&project, u"nobody"_s);
        inAllLooks([&] { look(run.window()); });
        compare({u"hoursField"_s, u"timeHint"_s, u"notesBackground"_s, u"saveButton"_s, u"cancelButton"_s,
                 u"unknownNote"_s, u"focus"_s, u"suggestion 1"_s});
    }

    void newTimer()
    {
        TimesheetRun run{{.notes = "Notes", .minutes = 65}};
        run.menulet->showNewTimerWindow(nullptr);
        auto& panel = run.menulet->addTimerController()->window();
        panel.showDurationCheckButton->click();
        QTest::keyClicks(panel.durationTextField, u"1:x"_s);
        inAllLooks([&] { look(panel); });
        compare({u"notesText"_s, u"durationHint"_s, u"saveButton"_s, u"durationBackground"_s});
    }

private:
    /// Reads everything that the window shows.
    Picture look(QWidget& window)
    {
        Picture picture(window);
        picture.save(scene());
        for (QWidget* part : window.findChildren<QWidget*>()) {
            if (!isShown(*part, window))
                continue;
            const QRect area = picture.of(*part);
            const QString name = stateOf(*part) + part->objectName();
            const auto* button = qobject_cast<QAbstractButton*>(part);
            const auto* label = qobject_cast<QLabel*>(part);
            const auto* line = qobject_cast<QLineEdit*>(part);
            if ((label && !label->text().isEmpty()) || qobject_cast<timesheet::NotesView*>(part))
                require(name, 4.5, picture.in(area));
            else if (line || qobject_cast<QPlainTextEdit*>(part))
                require(name, 4.5, picture.in(area.adjusted(1, 2, -1, -2)));
            else if (qobject_cast<QCheckBox*>(part))
                require(name, 4.5, picture.in(area.adjusted(20, 0, 0, 0)));
            else if (qobject_cast<QPushButton*>(part))
                require(name, 4.5, picture.in(area.adjusted(7, 3, -7, -3)));
            else if (button && !button->text().isEmpty())
                require(name, 4.5, picture.in(area));
            else if (button)
                require(name, 3, picture.in(area));
            else if (qobject_cast<skin::QuillonTextFieldBackground*>(part)) {
                const QPointF side(area.left(), area.center().y());
                require(name, 3, contrast(picture.at(side + QPointF(0.5, 0)), picture.at(side - QPointF(5, 0))));
                const QPointF above(area.center().x(), area.top());
                if (part->isAncestorOf(QApplication::focusWidget()))
                    require(u"focus"_s, 3,
                            contrast(picture.at(above - QPointF(0, 1)), picture.at(above - QPointF(0, 5))));
            }
        }
        return picture;
    }

    template <class Do>
    void inAllLooks(Do readThem)
    {
        ++m_scene;
        for (const auto& [name, scheme] : {std::pair{"Light", skin::Scheme::Light},
                                           {"Dark", skin::Scheme::Dark},
                                           {"ClearLight", skin::Scheme::ClearLight},
                                           {"ClearDark", skin::Scheme::ClearDark}}) {
            skin::setAppearance({.scheme = scheme, .still = true});
            m_scheme = QLatin1StringView(name);
            readThem();
        }
    }

    QString scene() const
    {
        return u"%1-%2-%3"_s.arg(QLatin1StringView(QTest::currentTestFunction())).arg(m_scene).arg(m_scheme);
    }

    void require(const QString& what, double least, double seen)
    {
        m_names.insert(what);
        if (qEnvironmentVariableIsSet("CONTRAST_TABLE"))
            qInfo("%-12s %-40s %5.2f of %.1f", qPrintable(m_scheme), qPrintable(what), seen, least);
        const QString name = m_scheme + u' ' + what;
        if (seen < least && !m_tooLow.contains(name))
            m_tooLow << name;
    }

    /// Everything could be seen, and these were among what was read.
    void compare(const QStringList& names)
    {
        for (const QString& name : names)
            QVERIFY2(m_names.contains(name), qPrintable(name));
        QCOMPARE(m_tooLow, QStringList());
    }

    QString m_scheme;
    QStringList m_tooLow;
    QSet<QString> m_names;
    int m_scene = 0;
};

} // namespace

QUILLON_OFFSCREEN_TEST_MAIN(ContrastTest)
#include "ContrastTest.moc"

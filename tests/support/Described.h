#pragma once

#include "Transcript.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMetaEnum>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>

namespace support {

/// What can be found out about the visible parts of a window without its pictures, a line each: what it is called and
/// shows, what a screen reader says of it, and what can be done with it by hand and by key.
class Described
{
public:
    explicit Described(QWidget& window) : m_window(window)
    {
        walk(window, 0);
        tabs();
    }
    operator QStringList() const { return m_lines; }

    /// By what tests and people know it.
    static QString nameOf(const QWidget& widget)
    {
        const QString name = widget.objectName();
        if (name.isEmpty() || isToolkits(widget))
            return QString::fromLatin1(widget.metaObject()->className()).section(QStringLiteral("::"), -1);
        // Two of them are in one window.
        return name == QLatin1StringView("textField") ? name + u' ' + widget.accessibleName() : name;
    }

private:
    static bool isToolkits(const QWidget& widget) { return widget.objectName().startsWith(QLatin1StringView("qt_")); }
    static QString quoted(const QString& text) { return u'"' + QString(text).replace(u'\n', u'|') + u'"'; }

    static QString described(const QAction& action)
    {
        QStringList facts{quoted(action.text())};
        if (!action.shortcut().isEmpty())
            facts << action.shortcut().toString();
        if (!action.isEnabled())
            facts << QStringLiteral("off");
        if (action.isCheckable())
            facts << (action.isChecked() ? QStringLiteral("checked") : QStringLiteral("unchecked"));
        if (!action.isVisible())
            facts << QStringLiteral("hidden");
        if (!action.icon().isNull())
            facts << QStringLiteral("icon");
        return facts.join(u' ');
    }

    void add(int depth, const QString& line)
    {
        static const QRegularExpression port(QStringLiteral(":\\d{4,5}\\b"));
        static const QRegularExpression file(QStringLiteral("(?<![:/])/[^ \"]*/"));
        m_lines << QString(depth * 2, u' ') +
                       QString(line).replace(port, QStringLiteral(":PORT")).replace(file, QStringLiteral("/"));
    }

    void line(QWidget& widget, int depth)
    {
        QStringList facts{nameOf(widget)};
        QString name;
        const auto say = [&](const char* what, const QString& text) {
            if (!text.isEmpty())
                facts << QLatin1StringView(what) + quoted(text);
        };
        if (QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(&widget)) {
            if (!isToolkits(widget))
                facts << QString::fromLatin1(QMetaEnum::fromType<QAccessible::Role>().valueToKey(spoken->role()));
            name = spoken->text(QAccessible::Name);
            const QString description = spoken->text(QAccessible::Description);
            if (widget.isWindow())
                say("title: ", widget.windowTitle());
            if (name != widget.windowTitle())
                say("", name);
            // Without one of their own the toolkit takes what else there is.
            if (description != widget.toolTip() && description != widget.property("placeholderText").toString())
                say("said: ", description);
            const QAccessible::State state = spoken->state();
            if (state.modal)
                facts << QStringLiteral("modal");
            if (state.selected)
                facts << QStringLiteral("selected");
            if (state.readOnly && spoken->role() == QAccessible::EditableText)
                facts << QStringLiteral("read only");
            if (spoken->role() == QAccessible::ListItem) {
                for (const auto* label : widget.findChildren<QLabel*>()) {
                    if (label->isVisibleTo(&widget))
                        say("| ", label->text());
                }
            }
        }
        if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
            if (label->text() != name)
                say("shows: ", label->text());
            if (label->buddy())
                say("for: ", nameOf(*label->buddy()));
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
            if (button->text() != name)
                say("shows: ", button->text());
            say("key: ", button->shortcut().toString());
            if (button->isCheckable())
                facts << (button->isChecked() ? QStringLiteral("checked") : QStringLiteral("unchecked"));
            if (const auto* push = qobject_cast<const QPushButton*>(button); push && push->isDefault())
                facts << QStringLiteral("default");
        } else if (const auto* field = qobject_cast<const QLineEdit*>(&widget)) {
            say("shows: ", field->displayText());
            say("selected: ", field->selectedText());
            say("prompt: ", field->placeholderText());
        } else if (const auto* text = qobject_cast<const QPlainTextEdit*>(&widget)) {
            say("shows: ", text->toPlainText());
            say("prompt: ", text->placeholderText());
            if (text->tabChangesFocus())
                facts << QStringLiteral("tab leaves");
        } else if (const auto* box = qobject_cast<const QComboBox*>(&widget)) {
            for (int i = 0; i < box->count(); ++i)
                say(i == box->currentIndex() ? "chosen: " : "choice: ", box->itemText(i));
        }
        say("tip: ", widget.toolTip());
        if (widget.testAttribute(Qt::WA_SetCursor) && !widget.inherits("QLineEdit"))
            facts << QStringLiteral("cursor %1").arg(widget.cursor().shape());
        if (!widget.isEnabled() && (widget.isWindow() || widget.parentWidget()->isEnabled()))
            facts << QStringLiteral("off");
        if (widget.contextMenuPolicy() != Qt::DefaultContextMenu)
            facts << QStringLiteral("menu %1").arg(widget.contextMenuPolicy());
        looks(widget, facts);
        if (m_window.focusWidget() == &widget)
            facts << QStringLiteral("FOCUS");
        // What only holds others has nothing to say.
        if (facts.size() > 2 || facts.first() == widget.objectName())
            add(depth, facts.join(u' '));
        for (const QAction* action : widget.actions())
            add(depth + 1, action->isSeparator() ? QStringLiteral("-") : described(*action));
    }

    /// Only what the program sets by itself: the rest is the toolkit's and the desktop's.
    static void looks(const QWidget& widget, QStringList& facts)
    {
        if (const QFont& font = widget.font(); widget.testAttribute(Qt::WA_SetFont))
            facts << QStringLiteral("font %1 of %2").arg(font.weight()).arg(font.pixelSize());
        for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::Window, QPalette::Base,
                                               QPalette::ButtonText, QPalette::Highlight, QPalette::PlaceholderText}) {
            if (widget.testAttribute(Qt::WA_SetPalette) && widget.palette().isBrushSet(QPalette::Active, role))
                facts << widget.palette().color(QPalette::Active, role).name(QColor::HexArgb);
        }
        if (const auto* label = qobject_cast<const QLabel*>(&widget))
            facts << QStringLiteral("format %1 %2").arg(label->textFormat()).arg(label->alignment());
        if (const auto* area = qobject_cast<const QAbstractScrollArea*>(&widget))
            facts << QStringLiteral("bars %1 %2")
                         .arg(area->horizontalScrollBarPolicy())
                         .arg(area->verticalScrollBarPolicy());
    }

    void walk(QWidget& widget, int depth)
    {
        line(widget, depth);
        if (const auto* list = qobject_cast<const QAbstractItemView*>(&widget)) {
            for (int row = 0; row < list->model()->rowCount() && !list->inherits("QTableView"); ++row) {
                const QModelIndex index = list->model()->index(row, 0);
                add(depth + 1, quoted(index.data().toString()) +
                                   (index == list->currentIndex() ? QStringLiteral(" current") : QString()));
            }
            return;
        }
        // What is within a field or a calendar is the toolkit's own.
        const bool isWhole = widget.inherits("QPlainTextEdit") || widget.inherits("QCalendarWidget");
        const bool isRow = widget.inherits("timesheet::TimesheetListViewCell");
        for (QObject* child : widget.children()) {
            auto* part = qobject_cast<QWidget*>(child);
            if (part && !isWhole && !(isRow && qobject_cast<QLabel*>(part)) && part->isVisibleTo(&widget) &&
                !part->isWindow() && !part->size().isEmpty())
                walk(*part, depth + 1);
        }
    }

    /// Where Tab goes.
    void tabs()
    {
        QStringList stops;
        QWidget* part = &m_window;
        do {
            if (part->isVisible() && part->isEnabled() && !part->focusProxy() && (part->focusPolicy() & Qt::TabFocus) &&
                (part == &m_window || m_window.isAncestorOf(part)) && part->window() == &m_window)
                stops << nameOf(*part) + QStringLiteral("(%1)").arg(part->focusPolicy());
            part = part->nextInFocusChain();
        } while (part && part != &m_window);
        if (!stops.isEmpty())
            add(0, QStringLiteral("tab: ") + stops.join(QStringLiteral(", ")));
    }

    QWidget& m_window;
    QStringList m_lines;
};

} // namespace support

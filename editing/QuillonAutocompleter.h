#pragma once

#include "editing/PickerMenu.h"
#include "editing/QuillonAutocompleterResultsController.h"
#include "editing/TextCommands.h"
#include "editing/TextFields.h"
#include "model/DayEntry.h"
#include "skin/QuillonTextFieldBackground.h"
#include "store/Object.h"

#include <QObject>
#include <QPointer>

#include <utility>

class QAbstractButton;
class QLabel;
class QLineEdit;
class QWidget;

namespace skin {
class LinkButton;
}

namespace editing {

class HintLabel;
class QuillonAutocompleter;

/// The owner of a picker.
class QuillonAutocompleterDelegate
{
public:
    /// The choice has changed; null: none.
    virtual void itemSelected(model::QuillonObject* selectedValue, QuillonAutocompleter& inCompleter) = 0;
    /// Return was pressed, and what is typed has become the choice. True: the owner has moved the focus; otherwise it
    /// goes to the next view.
    virtual bool returnPressed(QuillonAutocompleter& /*inCompleter*/) { return false; }

protected:
    ~QuillonAutocompleterDelegate() = default;
};

/// A text field in which a project or a task is chosen: by typing, which completes the name and shows matching
/// suggestions in a drop-down below, or from a menu of all of them.
///
/// Holds no plain pointer to an object. The owner calls `catalogDidChange` after each merge that touched the catalog
/// (`model::touchesCatalog`): what is typed, the caret, the open drop-down and a choice that still exists stay as they
/// are. Must be destroyed before the view that contains it. Main thread only.
class QuillonAutocompleter : public QObject, private QuillonAutocompleterResultsDelegate
{
    Q_OBJECT
public:
    ~QuillonAutocompleter() override;

    /// The frame with everything in it.
    skin::QuillonTextFieldBackground* autocompleterContainerView() const { return m_container; }
    QLineEdit* textField() const { return m_textField; }
    QAbstractButton* popupButton() const { return m_popupButton; }
    /// The menu of all choices, up to date.
    PickerMenu& popupMenu();
    QuillonAutocompleterResultsController& resultsController() { return m_resultsController; }

    /// `atPoint`: the upper left corner of the frame.
    void addToView(QWidget& view, QPoint atPoint);
    /// 0: for a dark panel, the default. 1: for a light sheet.
    void setStyle(int style);
    void matchWidth(const QWidget& view);
    /// Null: none. Chooses what the entry has.
    virtual void setEntry(model::DayEntry* entry) = 0;
    model::DayEntry* entry() const { return m_entry.get(); }
    /// Sets another entry, and keeps the choice and what is typed.
    void replaceEntry(model::DayEntry* entry);
    /// Not owned.
    void setDelegate(QuillonAutocompleterDelegate* delegate) { m_delegate = delegate; }
    /// Gets the focus after Return and Tab.
    void setNextKeyView(QWidget* nextKeyView) { m_nextKeyView = nextKeyView; }
    QWidget* nextKeyView() const { return m_nextKeyView; }
    void setEnabled(bool enabled);
    void setInvalid(bool invalid);
    /// True: the next check for a missing choice stays silent.
    void setInitialDisplay(bool initialDisplay) { m_initialDisplay = initialDisplay; }
    void setErrorState();
    /// Null: no choice; the text stays.
    void setSelectedValue(model::QuillonObject* selectedValue);
    model::QuillonObject* selectedValue() const { return m_selectedValue.get(); }
    QString text() const;
    /// Removes the text and the choice.
    void clear();

    /// What the person has typed, without the completion.
    QString userEnteredText() const { return m_userEnteredText; }
    // For owners; the picker itself never reads it.
    QString currentAutocompleteFragment() const { return m_currentAutocompleteFragment; }
    void setCurrentAutocompleteFragment(const QString& fragment) { m_currentAutocompleteFragment = fragment; }

    /// The menu's choices have changed.
    virtual void reloadData();
    /// The catalog, or something chosen in it, was changed or deleted.
    virtual void catalogDidChange();

    /// The owner offers what to do about an unknown name, by `unknownNameChanged`.
    void setOwnerOffersNewOne() { m_ownerOffersNewOne = true; }

    /// What the prompt says.
    const QString& chooseText() const { return m_chooseText; }
    virtual QuillonAutocompleterResultsController::Results suggestionsForText(const QString& text);
    /// The first choice whose name is `text`, in any case; null: none.
    virtual model::QuillonObject* findSelectionFromCurrentText(const QString& text);

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    /// What is typed is no choice's name, or no longer: empty.
    void unknownNameChanged(const QString& name);

protected:
    /// `label`: the purpose of the field, for screen readers.
    explicit QuillonAutocompleter(const QString& label, const QString& chooseText = QStringLiteral("choose"));

    void setEntryOnly(model::DayEntry* entry) { m_entry = entry; }
    /// Reads what the suggestions come from, once its window is shown and again whenever the catalog has changed, so
    /// that the next key need not.
    virtual void prepare() {}
    /// Puts all choices into the empty menu.
    virtual void fillMenu(PickerMenu& /*menu*/) {}
    virtual void itemSelectedFromMenu(qint64 /*tag*/) {}
    /// What is said while the choice is missing.
    virtual QString missingText() const { return {}; }
    /// The service's page that manages the choices: its title and path. Null: there is none.
    virtual std::pair<QString, QString> manager() const { return {}; }

    /// The integer value of the object's id.
    static qint64 tag(const model::QuillonObject& object);
    template <class T>
    static model::QuillonObject* withTag(const std::vector<T*>& objects, qint64 wanted)
    {
        for (T* object : objects) {
            if (tag(*object) == wanted)
                return object;
        }
        return nullptr;
    }
    template <class T>
    static model::QuillonObject* withName(const std::vector<T*>& objects, const QString& name)
    {
        for (T* object : objects) {
            const QString candidate = object->name();
            if (candidate.size() == name.size() && candidate.compare(name, Qt::CaseInsensitive) == 0)
                return object;
        }
        return nullptr;
    }

private:
    void itemSelected(model::QuillonObject* item, QuillonAutocompleterResultsController& inResultsList) override;

    void controlTextDidChange();
    void controlTextDidEndEditing();
    bool control(TextCommand doCommandBySelector);
    void commit();
    void moveOn();
    void addTemporarySelection(const QString& candidate);
    bool shouldAssignFromTextOnLostFocus() const;
    void updateTextViewAfterSelection();
    void updatePopupButtonAfterSelection();
    void updatePlaceholderText();
    void loadSuggestions();
    void tellDelegate();
    void describe();
    void readField();
    bool isUnknown() const;
    void updateUnknownNote();
    void wearLook();
    void layOut();
    void popUpMenu();
    void prepareSoon();

    const QString m_chooseText;
    skin::QuillonTextFieldBackground* m_container; ///< owned
    QLineEdit* m_textField;
    QLabel* m_fakePlaceholderField;
    QAbstractButton* m_popupButton;
    HintLabel* m_unknownNote = nullptr; ///< with the link, made on first use
    skin::LinkButton* m_manageLink = nullptr;
    PickerMenu* m_menu = nullptr;
    TextCommands* m_commands;
    QuillonAutocompleterResultsController m_resultsController;
    QuillonAutocompleterDelegate* m_delegate = nullptr;
    QPointer<QWidget> m_nextKeyView;

    store::Ref<model::DayEntry> m_entry;
    store::Ref<model::QuillonObject> m_selectedValue;
    bool m_hasSelectedValue = false; ///< as the owner knows it: also true for one that was deleted since
    QString m_shownValue;            ///< the choice's display name when it was put into the field
    QString m_userEnteredText;
    QString m_currentAutocompleteFragment;
    QString m_highlight;
    QString m_unknownName;
    bool m_suggestionsLoaded = false; ///< the drop-down holds those for what is typed
    bool m_menuFilled = false;
    bool m_ownerOffersNewOne = false;
    bool m_deletingBackward = false;
    bool m_initialDisplay = false;
    bool m_invalid = false;
    int m_style = 0;
};

} // namespace editing

#pragma once

#include "skin/FlatButton.h"
#include "skin/Image.h"

namespace skin {

/// A button that is only a picture. Give it an accessible name that says what it does.
class ImageButton : public FlatButton
{
    Q_OBJECT
public:
    /// `alternate` is shown while it is held down.
    ImageButton(Image normal, Image alternate, QWidget* parent = nullptr);

    void setImages(Image normal, Image alternate);
    /// The picture for the present state.
    Image shownImage() const { return isDown() ? m_alternate : m_normal; }

    QSize sizeHint() const override { return m_normal.size().toSize(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Image m_normal;
    Image m_alternate;
};

/// Starts the timer of a row.
class QuillonTimesheetButtonCell final : public ImageButton
{
    Q_OBJECT
public:
    explicit QuillonTimesheetButtonCell(QWidget* parent = nullptr);
};

/// Opens the hours for editing: a pencil.
class QuillonEditHoursButtonCell final : public ImageButton
{
    Q_OBJECT
public:
    explicit QuillonEditHoursButtonCell(QWidget* parent = nullptr);
};

/// Adds one more: a plus.
class QuillonAddOneButtonCell final : public ImageButton
{
    Q_OBJECT
public:
    explicit QuillonAddOneButtonCell(QWidget* parent = nullptr);
};

} // namespace skin

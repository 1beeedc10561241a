#pragma once

#include <QWidget>

namespace skin {

class QuillonDateBackgroundView;

/// Is notified when the date is clicked.
class DateBackgroundDelegate
{
public:
    virtual void quillonDateFieldClicked(QuillonDateBackgroundView& view) = 0;

protected:
    ~DateBackgroundDelegate() = default;
};

/// The view around a date, which reports clicks: first to its delegate, then to all other listeners.
class QuillonDateBackgroundView : public QWidget
{
    Q_OBJECT
public:
    explicit QuillonDateBackgroundView(QWidget* parent = nullptr);

    /// Not owned; null for none.
    void setDelegate(DateBackgroundDelegate* delegate) { m_delegate = delegate; }
    DateBackgroundDelegate* delegate() const { return m_delegate; }

signals:
    void clicked(skin::QuillonDateBackgroundView* view);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    DateBackgroundDelegate* m_delegate = nullptr;
};

} // namespace skin

#pragma once

#include "settings/KeyCombo.h"

#include <QWidget>

#include <functional>

class QToolButton;

namespace preferences {

/// A field that shows a key combination, and records another one as it is typed.
///
/// A click or the space bar starts; the next combination is recorded, Escape keeps the old one, Backspace or Delete
/// clears it. A key needs Ctrl, Alt or Super, except a function key. Codes are those of the physical keys.
class SRRecorderControl final : public QWidget
{
    Q_OBJECT
public:
    /// Whether a combination is taken. `reason` is then shown.
    using Taken = std::function<bool(qint64 keyCode, quint64 flags, QString& reason)>;

    explicit SRRecorderControl(QWidget* parent = nullptr);

    settings::KeyCombo keyCombo() const { return m_combo; }
    void setKeyCombo(const settings::KeyCombo& combo);
    void setTaken(Taken taken) { m_taken = std::move(taken); }

    bool isRecording() const { return m_recording; }
    void startRecording();
    /// Keeps the old combination.
    void stopRecording();
    void clear();

    /// Its text: the combination in the desktop's terms, or what to do.
    QString shownText() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

signals:
    /// By the user, not by `setKeyCombo`.
    void keyComboChanged();
    /// While recording, every key should reach it.
    void recordingChanged(bool recording);
    /// What was typed cannot be a shortcut, and why. Recording continues.
    void refused(const QString& reason);

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void record(QKeyEvent& event);
    void take(const settings::KeyCombo& combo);
    void showModifiers(Qt::KeyboardModifiers pressed);
    void updateShown();
    void updateIcon();

    settings::KeyCombo m_combo;
    Taken m_taken;
    bool m_recording = false;
    Qt::KeyboardModifiers m_pressed; ///< while recording
    QToolButton* m_clear;
};

} // namespace preferences

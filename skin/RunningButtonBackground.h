#pragma once

#include "skin/BlinkTicker.h"
#include "skin/Image.h"

#include <QWidget>

namespace skin {

/// The stop picture of a row, stretched over the widget, that pulsates while its timer runs.
///
/// How deep and how fast is read from the information dictionary: `QuillonPulsateTransparency` (the opacity at the
/// lowest point) and `QuillonPulsateFrequency` (seconds one way; none or zero means a steady picture).
class RunningButtonBackground final : public QWidget
{
    Q_OBJECT
public:
    explicit RunningButtonBackground(QWidget* parent = nullptr);

    void setIsRunning(bool isRunning);
    bool isRunning() const { return m_isRunning; }

    static Wave pulsatingTimerAnimation();
    static Image image() { return imageNamed("tw-icn-stop-active.png"); }

    QSize sizeHint() const override { return image().size().toSize(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_isRunning = false;
    Pulse m_pulse;
};

} // namespace skin

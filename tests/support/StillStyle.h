#pragma once

#include <QProxyStyle>

namespace support {

/// Fusion, with its animations on or off. Without them nothing has to be waited for.
class StillStyle final : public QProxyStyle
{
public:
    explicit StillStyle(bool animated = false) : QProxyStyle(QStringLiteral("fusion")), m_animated(animated) {}

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* answer) const override
    {
        if (hint == SH_Widget_Animation_Duration)
            return m_animated ? 200 : 0;
        return QProxyStyle::styleHint(hint, option, widget, answer);
    }

private:
    const bool m_animated;
};

} // namespace support

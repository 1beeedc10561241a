#include "BareList.h"

#include <QScrollBar>

#include <algorithm>

namespace bench {

BareList::BareList(QWidget* parent) : QAbstractScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    verticalScrollBar()->setSingleStep(20);
}

void BareList::load(int rows)
{
    m_offsets.assign(1, 0.0);
    m_offsets.reserve(std::size_t(rows) + 1);
    for (int row = 0; row < rows; ++row)
        m_offsets.push_back(m_offsets.back() + heightOfListRow(row));
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setRange(0, std::max(0, int(m_offsets.back()) - viewport()->height()));
    m_spare.insert(m_spare.begin(), m_shown.begin(), m_shown.end());
    m_shown.clear();
    fill();
}

void BareList::resizeEvent(QResizeEvent*)
{
    if (!m_offsets.empty())
        load(int(m_offsets.size()) - 1);
}

void BareList::scrollContentsBy(int, int dy)
{
    if (std::abs(dy) < viewport()->height())
        viewport()->scroll(0, dy);
    fill();
}

QRect BareList::frameOf(int row) const
{
    const int top = int(m_offsets[std::size_t(row)]);
    return {0, top - verticalScrollBar()->value(), viewport()->width(), int(m_offsets[std::size_t(row) + 1]) - top};
}

void BareList::fill()
{
    const double top = verticalScrollBar()->value();
    const auto after = std::upper_bound(m_offsets.begin(), m_offsets.end(), top);
    const auto below = std::lower_bound(after, m_offsets.end(), top + viewport()->height());
    const int first = int(after - m_offsets.begin()) - 1;
    const int end = std::min(int(below - m_offsets.begin()), int(m_offsets.size()) - 1);

    const auto spareFront = [this] {
        m_spare.insert(m_spare.begin(), m_shown.front());
        m_shown.pop_front();
        ++m_first;
    };
    while (!m_shown.empty() && (m_first < first || m_first >= end))
        spareFront();
    while (!m_shown.empty() && m_first + int(m_shown.size()) > end) {
        m_spare.insert(m_spare.begin(), m_shown.back());
        m_shown.pop_back();
    }
    const auto take = [this](int row) {
        Row* widget = nullptr;
        if (m_spare.empty()) {
            widget = new Row;
            widget->setParent(viewport());
        } else {
            widget = m_spare.front();
            m_spare.erase(m_spare.begin());
        }
        widget->showRow(row);
        widget->setGeometry(frameOf(row));
        widget->show();
        return widget;
    };
    if (m_shown.empty())
        m_first = first;
    while (m_first > first)
        m_shown.push_front(take(--m_first));
    while (m_first + int(m_shown.size()) < end)
        m_shown.push_back(take(m_first + int(m_shown.size())));
    for (std::size_t i = 0; i < m_shown.size(); ++i)
        m_shown[i]->setGeometry(frameOf(m_first + int(i)));
    for (Row* row : m_spare)
        row->hide();
}

} // namespace bench

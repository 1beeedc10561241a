#pragma once

#include "ListRow.h"

#include <QAbstractScrollArea>

#include <deque>
#include <vector>

namespace bench {

/// The least that shows a list of rows of different heights: a scroll area with one widget per visible row.
class BareList final : public QAbstractScrollArea
{
public:
    explicit BareList(QWidget* parent);

    void load(int rows);

protected:
    void scrollContentsBy(int dx, int dy) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    using Row = ListRow<QWidget>;

    void fill();
    QRect frameOf(int row) const;

    std::vector<double> m_offsets; ///< of each row, and the end of the last
    std::deque<Row*> m_shown;
    std::vector<Row*> m_spare;
    int m_first = 0;
};

} // namespace bench

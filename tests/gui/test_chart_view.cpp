// The chart window widget: the hover read-out and saving what is shown.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMouseEvent>

#include "app/chart_view.h"
#include "test_support.h"

namespace sarnoth::gui {
namespace {

TEST(ChartView, HoverReportsThePointAndSavesWhatIsShown) {
  chart::Chart c;
  c.x.autoRange = c.y.autoRange = false;
  c.x.hi = c.y.hi = 10;
  c.series.push_back(chart::Series::of(chart::SeriesKind::LineMarkers, {2, 7}, {3, 8}));
  ChartView v;
  v.resize(400, 300);
  v.setChart(c);
  v.setTooltipFormatter([](int, int i) { return QString("当前数据：X=%1").arg(i); });
  std::vector<int> hovered;
  QObject::connect(&v, &ChartView::hovered, [&](int, int i) { hovered.push_back(i); });
  v.grab();  // lays the chart out at this size
  const auto& L = v.layout();
  const QPointF at(*L.px(7), *L.py(8));
  QMouseEvent move(QEvent::MouseMove, at, v.mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                   Qt::NoModifier);
  QApplication::sendEvent(&v, &move);
  ASSERT_EQ(hovered, std::vector<int>{1});
  EXPECT_EQ(v.toolTip(), QString("当前数据：X=1"));

  test::TempDir tmp;
  ASSERT_TRUE(v.saveTo(QString::fromStdString(tmp.file("p.png"))));
  QImage saved(QString::fromStdString(tmp.file("p.png")));
  EXPECT_EQ(saved.size(), QSize(400, 300));
  EXPECT_EQ(saved.convertToFormat(QImage::Format_RGB32),
            v.picture().convertToFormat(QImage::Format_RGB32));
}

}  // namespace
}  // namespace sarnoth::gui

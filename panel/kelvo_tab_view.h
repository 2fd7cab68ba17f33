#pragma once

#include <QStackedWidget>

namespace kelvo {

// How a tab view looks, by the platform's numbers.
enum class NSTabViewType : int { noTabsLineBorder = 5 };

// The settings of the adjustments, a page each, inside a thin grey frame. Pages are chosen by the
// program alone.
class KelvoTabView : public QStackedWidget {
  Q_OBJECT

 public:
  explicit KelvoTabView(QWidget* parent = nullptr) : QStackedWidget(parent) {}

  // An index without a page is passed over.
  void selectTabViewItemAtIndex(int index) { setCurrentIndex(index); }
  // Takes the border's unit away from the pages. There is never a strip of tabs.
  void setTabViewType(NSTabViewType type);

  // Room for every page with all of its text.
  [[nodiscard]] QSize minimumSizeHint() const override;
  [[nodiscard]] QSize sizeHint() const override { return minimumSizeHint(); }

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace kelvo

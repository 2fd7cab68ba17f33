#include "platform/ui/qt_window.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <utility>

#include "platform/ui/qt_canvas.h"
#include "platform/ui/qt_events.h"

namespace kelvo {

// Shows a child window. Lets the pointer through to what lies below.
class QtWindow::Overlay : public QWidget {
 public:
  Overlay(NSChildWindowRef child, QWidget* parent)
      : QWidget(parent, flags(*child)), child_(std::move(child)) {
    setAttribute(Qt::WA_TranslucentBackground, !child_->opaque);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents, child_->ignoresMouseEvents);
    setWindowOpacity(child_->alphaValue);
  }

  [[nodiscard]] const NSChildWindow& child() const { return *child_; }

 protected:
  void paintEvent(QPaintEvent* /*event*/) override {
    QPainter painter(this);
    painter.fillRect(rect(), toQt(child_->backgroundColor));
    const NSSize size{static_cast<double>(width()), static_cast<double>(height())};
    QtCanvas canvas(painter, size, devicePixelRatioF());
    for (const auto& view : child_->contentViews) {
      if (view->hidden) continue;
      canvas.compositeToPoint_operation_fraction(view->image, view->frame.origin,
                                                 NSCompositingOperation::sourceOver, 1);
    }
  }
  void keyPressEvent(QKeyEvent* event) override { child_->sendEvent(toNSEvent(*event)); }
  void mousePressEvent(QMouseEvent* event) override { send(NSEventType::mouseDown, *event); }
  void mouseMoveEvent(QMouseEvent* event) override { send(NSEventType::mouseDragged, *event); }
  void mouseReleaseEvent(QMouseEvent* event) override { send(NSEventType::mouseUp, *event); }

 private:
  static Qt::WindowFlags flags(const NSChildWindow& child) {
    Qt::WindowFlags flags = Qt::Tool | Qt::WindowDoesNotAcceptFocus;
    if (child.styleMask() == NSChildWindow::kBorderless) flags |= Qt::FramelessWindowHint;
    if (child.level > 0) flags |= Qt::WindowStaysOnTopHint;
    if (!child.hasShadow) flags |= Qt::NoDropShadowWindowHint;
    if (child.ignoresMouseEvents) flags |= Qt::WindowTransparentForInput;
    return flags;
  }
  // In the units of the window below.
  void send(NSEventType type, const QMouseEvent& event) {
    QWidget& below = *parentWidget();
    const QPointF position = below.mapFromGlobal(event.globalPosition());
    child_->sendEvent(toNSEvent(type, below, position, event.modifiers()));
  }

  NSChildWindowRef child_;
};

namespace {

double screenHeight(const QWidget& widget) {
  const QScreen* screen = widget.screen();
  return screen != nullptr ? screen->geometry().height() : 0;
}

}  // namespace

QtWindow::QtWindow(QWidget& widget, Handler dispatch, Handler leaveKey)
    : widget_(widget), dispatch_(std::move(dispatch)), leaveKey_(std::move(leaveKey)) {}

QtWindow::~QtWindow() {
  for (const NSChildWindowRef& child : children_) child->setParentWindow(nullptr);
}

NSRect QtWindow::frame() const {
  const QRect frame = widget_.window()->frameGeometry();
  return {{static_cast<double>(frame.x()), screenHeight(widget_) - frame.y() - frame.height()},
          {static_cast<double>(frame.width()), static_cast<double>(frame.height())}};
}

void QtWindow::makeKeyWindow() {
  // Takes the keyboard from another window of ours, but not from another program.
  if (QGuiApplication::applicationState() == Qt::ApplicationActive) {
    widget_.window()->activateWindow();
  }
}

void QtWindow::setAcceptsMouseMovedEvents(bool accepts) { widget_.setMouseTracking(accepts); }

QtWindow::Overlay* QtWindow::overlayOf(const NSChildWindow& child) const {
  const auto found = std::ranges::find_if(
      overlays_, [&child](const auto& overlay) { return &overlay->child() == &child; });
  return found != overlays_.end() ? found->get() : nullptr;
}

void QtWindow::addChildWindow_ordered(const NSChildWindowRef& child, int /*ordering*/) {
  child->setParentWindow(this);
  children_.push_back(child);
  if (overlayOf(*child) == nullptr) {
    overlays_.push_back(std::make_unique<Overlay>(child, widget_.window()));
  }
}

void QtWindow::removeChildWindow(const NSChildWindowRef& child) {
  if (std::erase(children_, child) > 0) child->setParentWindow(nullptr);
}

void QtWindow::center(NSChildWindow& child) {
  const QScreen* screen = widget_.screen();
  if (screen == nullptr) return;
  const QRect area = screen->availableGeometry();
  NSRect frame = child.frame();
  frame.origin = {area.x() + (area.width() - frame.size.width) / 2,
                  screenHeight(widget_) - area.y() - (area.height() + frame.size.height) / 2};
  child.setFrame(frame);
}

void QtWindow::setFrame_display(NSChildWindow& child, const NSRect& frame, bool display) {
  child.setFrame(frame);
  Overlay* const overlay = overlayOf(child);
  if (overlay == nullptr) return;
  const double top = screenHeight(widget_) - frame.origin.y - frame.size.height;
  overlay->setGeometry(QRectF(frame.origin.x, top, frame.size.width, frame.size.height).toRect());
  if (display) overlay->show();
}

// Asked for while the view is being painted, so it paints soon rather than now.
void QtWindow::display(NSChildWindow& child) {
  if (Overlay* const overlay = overlayOf(child)) overlay->update();
}

void QtWindow::orderOut(NSChildWindow& child) {
  std::erase_if(overlays_, [&child](const auto& overlay) { return &overlay->child() == &child; });
}

}  // namespace kelvo

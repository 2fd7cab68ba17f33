#include "platform/ui/curves_widget.h"

#include <QContextMenuEvent>
#include <QFileDialog>
#include <QKeyEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>

#include "platform/ui/curves_host.h"
#include "platform/ui/line_edit_field.h"
#include "platform/ui/qt_canvas.h"
#include "platform/ui/qt_events.h"

namespace kelvo {
namespace {

// Curves are drawn in black and pure colours: they need a light ground, whatever the theme.
constexpr QColor kGround(0xEC, 0xEC, 0xEC);

void dispatch(KelvoTQCurvesView& view, const NSEvent& event) {
  switch (event.type) {
    case NSEventType::mouseDown:
      return view.mouseDown(event);
    case NSEventType::mouseDragged:
      return view.mouseDragged(event);
    case NSEventType::mouseUp:
      return view.mouseUp(event);
    case NSEventType::mouseMoved:
      return view.mouseMoved(event);
    case NSEventType::mouseEntered:
      return view.mouseEntered(event);
    case NSEventType::mouseExited:
      return view.mouseExited(event);
    case NSEventType::keyDown:
      return view.keyDown(event);
  }
}

}  // namespace

CurvesWidget::CurvesWidget(QWidget* parent)
    : QWidget(parent), host_(std::make_unique<CurvesHost>(*this, [this](const NSEvent& event) {
        dispatch(view_, event);
      })) {
  measureTextWithQt();
  const NSSize size = view_.frame().size;
  setFixedSize(static_cast<int>(size.width), static_cast<int>(size.height));
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  QPalette colors = palette();
  colors.setColor(QPalette::Window, kGround);
  setPalette(colors);
  setAutoFillBackground(true);
  setAccessibleName(tr("Tone curve"));
  setAccessibleDescription(tr("Tab selects a point, the arrow keys move it, Delete takes it out."));
  view_.setHost(host_.get());
  view_.awakeFromNib();
  view_.reconfigureTrackingRect();
}

CurvesWidget::~CurvesWidget() { view_.setHost(nullptr); }

KelvoTQCurvesView& CurvesWidget::view() { return view_; }

void CurvesWidget::setBundle(std::shared_ptr<const NSBundle> bundle) {
  view_.setBundle(std::move(bundle));
  view_.awakeFromNib();
  update();
}

void CurvesWidget::setLabels(QLineEdit* left, QLineEdit* bottom) {
  leftLabel_.reset();
  bottomLabel_.reset();
  if (left != nullptr) {
    leftLabel_ = std::make_unique<LineEditField>(
        left, [this](const ValueField& sender) { view_.leftLabelAction(sender); });
  }
  if (bottom != nullptr) {
    bottomLabel_ = std::make_unique<LineEditField>(
        bottom, [this](const ValueField& sender) { view_.bottomLabelAction(sender); });
  }
  view_.setLeftLabel(leftLabel_.get());
  view_.setBottomLabel(bottomLabel_.get());
}

void CurvesWidget::importCurves(const QString& path) {
  const auto done = view_.importCurves(path.toStdString());
  if (!done) {
    QMessageBox::warning(this, tr("Import Curves"), QString::fromStdString(done.error().message));
  }
}

bool CurvesWidget::event(QEvent* event) {
  if (event->type() == QEvent::ShortcutOverride) {
    auto& key = static_cast<QKeyEvent&>(*event);
    if (view_.takesKey(toNSEvent(key))) {
      event->accept();
      return true;
    }
  }
  // Before the widget moves the focus on.
  if (event->type() == QEvent::KeyPress) {
    const NSEvent key = toNSEvent(static_cast<QKeyEvent&>(*event));
    if (key.keyCode == kKeyTab && view_.takesKey(key)) {
      view_.keyDown(key);
      event->accept();
      return true;
    }
  }
  return QWidget::event(event);
}

void CurvesWidget::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const NSRect bounds = view_.bounds();
  QtCanvas canvas(painter, bounds.size, devicePixelRatioF());
  view_.drawRect(canvas, bounds);
}

void CurvesWidget::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
  // A finger or a pen comes down where no pointer has moved to.
  host_->trackPointer(event->position());
  view_.mouseMoved(
      toNSEvent(NSEventType::mouseMoved, *this, event->position(), event->modifiers()));
  view_.mouseDown(toNSEvent(NSEventType::mouseDown, *this, event->position(), event->modifiers()));
}

void CurvesWidget::mouseDoubleClickEvent(QMouseEvent* event) { mousePressEvent(event); }

void CurvesWidget::mouseMoveEvent(QMouseEvent* event) {
  host_->trackPointer(event->position());
  const bool dragged = event->buttons().testFlag(Qt::LeftButton);
  const NSEventType type = dragged ? NSEventType::mouseDragged : NSEventType::mouseMoved;
  dispatch(view_, toNSEvent(type, *this, event->position(), event->modifiers()));
}

void CurvesWidget::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QWidget::mouseReleaseEvent(event);
  view_.mouseUp(toNSEvent(NSEventType::mouseUp, *this, event->position(), event->modifiers()));
}

void CurvesWidget::enterEvent(QEnterEvent* event) { host_->trackPointer(event->position()); }

void CurvesWidget::leaveEvent(QEvent* /*event*/) { host_->trackPointer(std::nullopt); }

void CurvesWidget::keyPressEvent(QKeyEvent* event) {
  host_->takeKeyLeft();
  view_.keyDown(toNSEvent(*event));
  if (host_->takeKeyLeft()) QWidget::keyPressEvent(event);
}

void CurvesWidget::contextMenuEvent(QContextMenuEvent* event) {
  QMenu menu(this);
  const auto add = [&menu](const QString& text, bool enabled, auto action) {
    menu.addAction(text, action)->setEnabled(enabled);
  };
  add(tr("&Undo"), view_.canUndo(), [this] { view_.undo(); });
  add(tr("&Redo"), view_.canRedo(), [this] { view_.redo(); });
  menu.addSeparator();
  add(tr("&Copy Curve"), true, [this] { view_.copyCurve(); });
  add(tr("&Paste Curve"), view_.canPasteCurve(), [this] { view_.pasteCurve(); });
  menu.addSeparator();
  add(tr("&Import Curves…"), true, [this] {
    const QString path = QFileDialog::getOpenFileName(this, tr("Import Curves"), QString(),
                                                      tr("Curves (*.acv);;All files (*)"));
    if (!path.isEmpty()) importCurves(path);
  });
  menu.exec(event->globalPos());
}

}  // namespace kelvo

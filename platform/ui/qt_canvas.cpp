#include "platform/ui/qt_canvas.h"

#include <QFont>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <cmath>

#include "platform/drawing/ns_image.h"
#include "platform/ui/blur.h"
#include "platform/ui/qt_geometry.h"
#include "platform/ui/qt_image.h"

namespace kelvo {
namespace {

// A joint longer than this many line widths is cut off.
constexpr double kMiterLimit = 10;

}  // namespace

QColor toQt(const NSColor& color) {
  return QColor::fromRgbF(
      static_cast<float>(color.redComponent()), static_cast<float>(color.greenComponent()),
      static_cast<float>(color.blueComponent()), static_cast<float>(color.alphaComponent()));
}

QPainterPath toQt(const NSBezierPath& path) {
  QPainterPath result;
  result.setFillRule(Qt::WindingFill);
  for (const PathElement& element : path.elements()) {
    const auto& [first, second, third] = element.points;
    switch (element.kind) {
      case PathElementKind::moveTo:
        result.moveTo(toQt(first));
        break;
      case PathElementKind::lineTo:
        result.lineTo(toQt(first));
        break;
      case PathElementKind::curveTo:
        result.cubicTo(toQt(first), toQt(second), toQt(third));
        break;
      case PathElementKind::close:
        result.closeSubpath();
        break;
    }
  }
  return result;
}

QFont toQt(const NSFont& font) {
  QFont result = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
  // View units are pixels at a scale of 1.
  result.setPixelSize(std::max(1, static_cast<int>(std::lround(font.size))));
  result.setBold(font.bold);
  return result;
}

void measureTextWithQt() {
  setTextMeasurer([](const std::string& text, const TextAttributes& attributes) {
    const QFontMetricsF metrics(toQt(attributes.font));
    return NSSize{metrics.horizontalAdvance(QString::fromStdString(text)), metrics.height()};
  });
}

QtCanvas::QtCanvas(QPainter& painter, NSSize size, double scale)
    : painter_(painter), size_(size), scale_(scale) {
  painter_.save();
  painter_.setClipRect(QRectF({0, 0}, toQt(size)), Qt::IntersectClip);
  prepare(painter_);
}

QtCanvas::~QtCanvas() {
  while (states_.size() > 1) restoreGraphicsState();
  painter_.restore();
}

void QtCanvas::prepare(QPainter& painter) const {
  painter.translate(0, size_.height);
  painter.scale(1, -1);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
}

void QtCanvas::saveGraphicsState() {
  painter_.save();
  states_.push_back(states_.back());
}

void QtCanvas::restoreGraphicsState() {
  if (states_.size() == 1) return;
  painter_.restore();
  states_.pop_back();
}

void QtCanvas::setShouldAntialias(bool antialias) {
  painter_.setRenderHint(QPainter::Antialiasing, antialias);
}

void QtCanvas::setColor(const NSColor& color) { states_.back().color = color; }

void QtCanvas::setShadow(const NSShadow& shadow) {
  states_.back().shadow = shadow;
  states_.back().hasShadow = true;
}

void QtCanvas::addClip(const NSBezierPath& path) {
  painter_.setClipPath(toQt(path), Qt::IntersectClip);
}

QPen QtCanvas::pen(const NSBezierPath& path) const {
  QPen pen(toQt(states_.back().color), path.lineWidth(), Qt::SolidLine, Qt::FlatCap,
           Qt::SvgMiterJoin);
  pen.setMiterLimit(kMiterLimit);
  if (!path.lineDash().empty() && path.lineWidth() > 0) {
    // Qt counts dashes in line widths.
    QList<qreal> pattern;
    for (const double length : path.lineDash()) pattern.push_back(length / path.lineWidth());
    pen.setDashPattern(pattern);
    pen.setDashOffset(path.lineDashPhase() / path.lineWidth());
  }
  return pen;
}

template <typename Draw>
void QtCanvas::drawWithShadow(const Draw& draw) {
  const State& state = states_.back();
  if (state.hasShadow) {
    QImage layer((toQt(size_) * scale_).toSize(), QImage::Format_ARGB32_Premultiplied);
    layer.setDevicePixelRatio(scale_);
    layer.fill(Qt::transparent);
    QPainter layerPainter(&layer);
    prepare(layerPainter);
    layerPainter.setRenderHint(QPainter::Antialiasing,
                               painter_.testRenderHint(QPainter::Antialiasing));
    draw(layerPainter);
    layerPainter.end();
    const QImage glow =
        blurredShadow(layer, state.shadow.blurRadius * scale_ / 2, toQt(state.shadow.color));
    painter_.save();
    painter_.translate(0, size_.height);
    painter_.scale(1, -1);
    painter_.drawImage(QPointF(0, 0), glow);
    painter_.restore();
  }
  draw(painter_);
}

void QtCanvas::stroke(const NSBezierPath& path) {
  drawWithShadow(
      [shape = toQt(path), pen = pen(path)](QPainter& painter) { painter.strokePath(shape, pen); });
}

void QtCanvas::fill(const NSBezierPath& path) {
  drawWithShadow([shape = toQt(path), color = toQt(states_.back().color)](QPainter& painter) {
    painter.fillPath(shape, color);
  });
}

void QtCanvas::fillRect(const NSRect& rect) {
  drawWithShadow([shape = toQt(rect), color = toQt(states_.back().color)](QPainter& painter) {
    painter.fillRect(shape, color);
  });
}

void QtCanvas::frameRect(const NSRect& rect) {
  const auto& [origin, size] = rect;
  if (size.width <= 2 || size.height <= 2) return fillRect(rect);
  fillRect({origin, {size.width, 1}});
  fillRect({{origin.x, origin.y + size.height - 1}, {size.width, 1}});
  fillRect({{origin.x, origin.y + 1}, {1, size.height - 2}});
  fillRect({{origin.x + size.width - 1, origin.y + 1}, {1, size.height - 2}});
}

void QtCanvas::compositeToPoint_operation_fraction(const std::shared_ptr<const NSImage>& image,
                                                   NSPoint point,
                                                   NSCompositingOperation /*operation*/,
                                                   double fraction) {
  const QImage picture = image != nullptr ? toQt(*image, scale_) : QImage();
  if (picture.isNull()) return;
  // On whole pixels, so that it stays sharp.
  const auto onPixel = [this](double value) { return std::floor(value * scale_ + 0.5) / scale_; };
  painter_.save();
  painter_.setOpacity(fraction);
  painter_.translate(onPixel(point.x), onPixel(point.y) + picture.deviceIndependentSize().height());
  painter_.scale(1, -1);
  painter_.drawImage(QPointF(0, 0), picture);
  painter_.restore();
}

void QtCanvas::drawTextAtPoint(const std::string& text, NSPoint point,
                               const TextAttributes& attributes) {
  const QFont font = toQt(attributes.font);
  painter_.save();
  painter_.translate(point.x, point.y + QFontMetricsF(font).descent());
  painter_.scale(1, -1);
  painter_.setFont(font);
  painter_.setPen(toQt(attributes.foregroundColor));
  painter_.drawText(QPointF(0, 0), QString::fromStdString(text));
  painter_.restore();
}

}  // namespace kelvo

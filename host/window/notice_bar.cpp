#include "host/window/notice_bar.h"

#include <QHBoxLayout>
#include <QPushButton>

namespace kelvo::window {
namespace {

constexpr qsizetype kLinesShown = 4;

}  // namespace

NoticeBar::NoticeBar(QWidget* parent) : QFrame(parent), label_(new QLabel(this)) {
  setObjectName(QStringLiteral("notice"));
  setFrameShape(QFrame::StyledPanel);
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::ToolTipBase);
  label_->setForegroundRole(QPalette::ToolTipText);
  label_->setTextFormat(Qt::PlainText);
  label_->setWordWrap(true);
  label_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  label_->setAccessibleName(tr("Notice"));
  auto* const close = new QPushButton(tr("&Dismiss"), this);
  auto* const layout = new QHBoxLayout(this);
  layout->addWidget(label_, 1);
  layout->addWidget(close, 0, Qt::AlignTop);
  connect(close, &QPushButton::clicked, this, &QWidget::hide);
  hide();
}

void NoticeBar::tell(const QString& what, const QStringList& details) {
  QStringList lines = {what};
  lines += details.mid(0, kLinesShown);
  if (details.size() > kLinesShown) {
    lines += tr("… and %1 more").arg(details.size() - kLinesShown);
  }
  label_->setText(lines.join(QLatin1Char('\n')));
  label_->setToolTip(details.join(QLatin1Char('\n')));
  show();
}

}  // namespace kelvo::window

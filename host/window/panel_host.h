#pragma once

#include <QImage>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QWidget>
#include <memory>

#include "panel/panel.h"

namespace kelvo::window {

// The place of the settings panel in the window. A panel keeps its sample picture for life, so for
// another picture there is another panel on the same parameters.
class PanelHost : public QWidget {
  Q_OBJECT

 public:
  explicit PanelHost(std::shared_ptr<ParameterDictionary> parameters, QWidget* parent = nullptr);
  ~PanelHost() override;

  // The bundle with the pictures of the curves view.
  void setBundle(std::shared_ptr<const NSBundle> bundle);
  // Null for the shipped picture.
  void showSample(const QImage& sample);
  // The parameters have become others.
  void reload(bool editable);
  // Whether the after view shows the unadjusted picture.
  void showBefore(bool before);
  [[nodiscard]] bool showsBefore() const { return cover_ != nullptr; }
  [[nodiscard]] Panel* panel() const { return panel_.get(); }

 signals:
  void parametersChanged();

 private:
  void makePanel();

  std::shared_ptr<ParameterDictionary> parameters_;
  std::shared_ptr<const NSBundle> bundle_;
  QImage sample_;
  QScrollArea* area_;
  QLabel* foreign_;  // in place of the panel for an action that it does not know
  std::unique_ptr<Panel> panel_;
  QPointer<QLabel> cover_;
};

}  // namespace kelvo::window

#pragma once

#include <QImage>
#include <QWidget>
#include <memory>

#include "platform/foundation/ns_bundle.h"
#include "platform/foundation/parameter_value.h"

namespace kelvo {

class KelvoController;

// The settings panel as a window embeds it: the adjustment's pop-up and controls beside the before
// and after pictures. One at a time in a process.
class Panel : public QWidget {
  Q_OBJECT

 public:
  // Edits `params` in place; the caller may read them at any time. `sample` is the picture of the
  // preview, already scaled for display; null for the shipped one.
  Panel(std::shared_ptr<ParameterDictionary> params, const QImage& sample,
        QWidget* parent = nullptr);
  ~Panel() override;

  [[nodiscard]] const std::shared_ptr<ParameterDictionary>& parameters() const { return params_; }
  [[nodiscard]] KelvoController& controller() const { return *controller_; }

  // The bundle with the curves view's pictures of cursors and points; without it the cursors are
  // the system's and the points are not marked.
  void setBundle(std::shared_ptr<const NSBundle> bundle);

  // The parameters were changed by somebody else (a workflow was opened): shows them.
  void reload();

 signals:
  // A setting was stored that differs from what was there. May come while the panel is painted.
  void parametersChanged();

 private:
  std::shared_ptr<ParameterDictionary> params_;
  std::unique_ptr<KelvoController> controller_;
};

}  // namespace kelvo

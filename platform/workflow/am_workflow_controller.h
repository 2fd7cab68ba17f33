#pragma once

#include <utility>

#include "platform/foundation/parameter_value.h"

namespace kelvo {

// Stands between a panel and the object that it edits: here the action parameters.
class NSObjectController {
 public:
  [[nodiscard]] const ActionParameters& content() const { return content_; }
  void setContent(ActionParameters content) { content_ = std::move(content); }

 private:
  ActionParameters content_;
};

// The base of a settings panel's controller, free of any toolkit.
class AMWorkflowController {
 public:
  virtual ~AMWorkflowController() = default;

  // Its content is the dictionary itself, which the panel edits in place.
  [[nodiscard]] NSObjectController& parameters() { return parameters_; }

  // The panel's layout is loaded and its outlets are connected. May be sent more than once.
  virtual void awakeFromNib() = 0;

 private:
  NSObjectController parameters_;
};

}  // namespace kelvo

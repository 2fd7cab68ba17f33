#include "platform/workflow/principal_class.h"

#include "action/kelvo_images.h"

namespace kelvo {

KELVO_EXPORT_PRINCIPAL_CLASS(Kelvo_Images)

}  // namespace kelvo

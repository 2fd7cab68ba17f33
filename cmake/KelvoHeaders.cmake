# What nearly every file reads, read once: target_precompile_headers(TARGET REUSE_FROM one of these).
# Every file includes what it uses all the same: -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON does without.

# For libraries and modules: the standard library alone, which all of them may use.
add_library(kelvo_headers OBJECT "${CMAKE_CURRENT_LIST_DIR}/headers.cpp")
target_link_libraries(kelvo_headers PRIVATE kelvo_compiler)
target_precompile_headers(kelvo_headers PRIVATE
  <algorithm> <array> <bit> <cmath> <cstddef> <cstdint> <cstring> <filesystem> <functional> <limits>
  <map> <memory> <mutex> <optional> <span> <string> <string_view> <system_error> <utility> <variant>
  <vector>)

# For those that stand on the toolkit.
if(KELVO_WINDOW)
  add_library(kelvo_widget_headers OBJECT "${CMAKE_CURRENT_LIST_DIR}/headers.cpp")
  target_link_libraries(kelvo_widget_headers PRIVATE kelvo_compiler Qt6::Widgets)
  target_precompile_headers(kelvo_widget_headers PRIVATE
    <QtWidgets> <algorithm> <array> <cmath> <cstdint> <filesystem> <functional> <memory> <optional>
    <span> <string> <string_view> <utility> <vector>)
endif()

# zemt::zemt is the shared library, or the static one where that is the only one installed; zemt::zemt_static is always that.
include(${CMAKE_CURRENT_LIST_DIR}/zemt-targets.cmake)
if(NOT TARGET zemt::zemt)
  add_library(zemt::zemt INTERFACE IMPORTED)
  set_target_properties(zemt::zemt PROPERTIES INTERFACE_LINK_LIBRARIES zemt::zemt_static)
endif()

include(${CMAKE_CURRENT_LIST_DIR}/kvjobTargets.cmake)

# The build that counts which lines run (preset `coverage`): the product and the tests, which hold copies of what stands
# in its headers; neither GoogleTest nor the stand-in machine. Counters reach their files when a process exits; what ends
# a process at once writes them first here, so that the lines before such an end count too.
if(MSVC OR NOT CMAKE_CXX_FLAGS_DEBUG MATCHES "--coverage" OR NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  return()
endif()
string(REPLACE "--coverage" "" CMAKE_CXX_FLAGS_DEBUG "${CMAKE_CXX_FLAGS_DEBUG}")
add_library(coverage_flush STATIC ${CMAKE_CURRENT_LIST_DIR}/coverage/Flush.cpp)
# Only in programs: one in the stand-in's library too would take the place of theirs.
set(is_counted $<NOT:$<STREQUAL:$<TARGET_PROPERTY:NAME>,stand-in>>)
target_compile_options(project_link INTERFACE
  $<${is_counted}:--coverage> $<${is_counted}:SHELL:-include ${CMAKE_CURRENT_LIST_DIR}/coverage/FastFail.h>)
target_link_options(project_link INTERFACE --coverage $<${is_counted}:-Wl,-u,flushCoverage>)
target_link_libraries(project_link INTERFACE coverage_flush)

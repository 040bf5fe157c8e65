# The warnings of every target of this project; link `project_warnings` privately. Any warning is an error.
add_library(project_warnings INTERFACE)
if(MSVC)
  target_compile_options(project_warnings INTERFACE /W4 /WX /permissive- /utf-8)
else()
  target_compile_options(project_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
    -Wcast-qual -Wduplicated-cond -Wlogical-op -Wnull-dereference -Wundef -Wimplicit-fallthrough)
endif()

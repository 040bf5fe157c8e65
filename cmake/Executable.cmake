# What every module that this project links has in common: static runtimes, unused sections dropped, addresses
# randomised, the same bytes from the same source wherever it is built.
set(CMAKE_MSVC_RUNTIME_LIBRARY MultiThreaded)
add_library(project_link INTERFACE)
if(NOT MSVC)
  target_compile_options(project_link INTERFACE
    -ffunction-sections -fdata-sections -fstack-protector-strong
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
  target_link_options(project_link INTERFACE
    -static -fstack-protector-strong -Wl,--gc-sections -Wl,--no-insert-timestamp
    -Wl,--dynamicbase,--nxcompat,--high-entropy-va)
endif()

# Moves the symbols of `target` into a file beside it, `<name>.debug`.
function(split_symbols target)
  if(MSVC OR NOT CMAKE_BUILD_TYPE STREQUAL "Release")
    return()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

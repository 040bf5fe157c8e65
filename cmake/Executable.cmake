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

# ld keeps every entry of the table for unwinding, and with it each function of each object that it takes from a library:
# a third of the executable, never called. With this script, its own but for that one rule, the entries of such
# functions stay behind empty, before all others, where no search of the table stops.
function(write_linker_script file)
  execute_process(COMMAND ${CMAKE_LINKER} --verbose OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX REPLACE ".*\n=====+\n(.*)\n=====+\n.*" "\\1" own_script "${output}")
  string(REPLACE "KEEP(*(.pdata*))" "*(.pdata*)" script "${own_script}")
  if(script STREQUAL own_script)
    message(FATAL_ERROR "The linker's own script keeps the table for unwinding in another way than known")
  endif()
  file(WRITE ${file} "${script}")
endfunction()

# Each C++ allocation of every module between pages that cannot be touched.
option(LSDK_GUARDED_HEAP "Guard pages around every C++ allocation" OFF)
if(LSDK_GUARDED_HEAP)
  add_library(guarded_heap STATIC tests/support/GuardedHeap.cpp)
  target_include_directories(guarded_heap PRIVATE src)
  target_compile_options(guarded_heap PRIVATE $<TARGET_PROPERTY:project_link,INTERFACE_COMPILE_OPTIONS>)
  target_link_libraries(guarded_heap PRIVATE project_warnings)
  target_link_libraries(project_link INTERFACE guarded_heap)
endif()

# Moves the symbols of `target` into a file beside it, `<name>.debug`. Without -p the time of day goes into both.
function(split_symbols target)
  if(MSVC OR NOT CMAKE_BUILD_TYPE STREQUAL "Release")
    return()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} -p --only-keep-debug $<TARGET_FILE:${target}> $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} -p --strip-all $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} -p --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()

# Warnings and sanitizers for every target of this project.
add_library(trevolan_warnings INTERFACE)
target_compile_options(trevolan_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
if(TREVOLAN_WERROR)
  target_compile_options(trevolan_warnings INTERFACE -Werror)
endif()

add_library(trevolan_options INTERFACE)
target_link_libraries(trevolan_options INTERFACE trevolan_warnings)

# Library code neither throws nor asks for types at run time: the host must survive us.
add_library(trevolan_library_options INTERFACE)
target_link_libraries(trevolan_library_options INTERFACE trevolan_options)
target_compile_options(trevolan_library_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

# Tests are compiled more often than they run.
add_library(trevolan_test_options INTERFACE)
target_link_libraries(trevolan_test_options INTERFACE trevolan_warnings)
target_compile_options(trevolan_test_options INTERFACE -g1 $<IF:$<CONFIG:Debug>,-Og,-O1>)

if(TREVOLAN_SANITIZE)
  # GCC's own checks of bounds see overflows in instrumented code that are not there.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(trevolan_warnings INTERFACE
      -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds -Wno-maybe-uninitialized)
  endif()
  target_compile_options(trevolan_options INTERFACE
    -fsanitize=${TREVOLAN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  target_link_options(trevolan_warnings INTERFACE -fsanitize=${TREVOLAN_SANITIZE})
  # In the code of the tests themselves the checks of arithmetic would more than double the
  # time of compiling and find nothing in the library.
  target_compile_options(trevolan_test_options INTERFACE -fsanitize=address)
endif()

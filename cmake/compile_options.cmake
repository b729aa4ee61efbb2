# Warnings and sanitizers for every target of this project.
add_library(trevolan_options INTERFACE)
target_compile_options(trevolan_options INTERFACE
  -Wall -Wextra -Wshadow -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
if(TREVOLAN_WERROR)
  target_compile_options(trevolan_options INTERFACE -Werror)
endif()
if(TREVOLAN_SANITIZE)
  target_compile_options(trevolan_options INTERFACE
    -fsanitize=${TREVOLAN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1)
  # GCC's own checks of bounds see overflows in instrumented code that are not there.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(trevolan_options INTERFACE
      -Wno-stringop-overflow -Wno-stringop-overread -Wno-array-bounds -Wno-maybe-uninitialized)
  endif()
  target_link_options(trevolan_options INTERFACE -fsanitize=${TREVOLAN_SANITIZE})
endif()

# Library code neither throws nor asks for types at run time: the host must survive us.
add_library(trevolan_library_options INTERFACE)
target_link_libraries(trevolan_library_options INTERFACE trevolan_options)
target_compile_options(trevolan_library_options INTERFACE
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

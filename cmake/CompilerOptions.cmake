# What every target of the project is compiled with. Warnings are errors under every compiler; a compiler that is newer than
# all that were tried may be let off.
set(CMAKE_COMPILE_WARNING_AS_ERROR ON CACHE BOOL "Warnings of the compiler are errors")
add_compile_options(
  -Wall -Wextra -Wpedantic
  -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  -Wswitch-enum -Wundef -Wformat=2
  -Wno-missing-field-initializers) # left out members of a designated initializer take their defaults
add_compile_options(-fstack-protector-strong)
include_directories(${PROJECT_SOURCE_DIR})

if(KAVIO_SANITIZE)
  add_compile_options(-fsanitize=${KAVIO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KAVIO_SANITIZE})
else()
  # The sanitizers do the same and more.
  add_compile_definitions($<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
endif()

if(APPLE)
  add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=") # the same program wherever it is built
  add_link_options(-Wl,-dead_strip -Wl,-headerpad,0x400)           # room for the load command of a signature
endif()

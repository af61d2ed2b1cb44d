# nlohmann_json::nlohmann_json and UTF8CPP_INCLUDE_DIR: the libraries that the portable code compiles in.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(nlohmann_json 3.11 REQUIRED)
  find_path(UTF8CPP_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp REQUIRED)
  return()
endif()

# They are the same for every system, but the directory that they are in has headers of this one beside them.
find_path(nlohmann nlohmann/json.hpp REQUIRED NO_CMAKE_FIND_ROOT_PATH)
find_path(utf8cpp utf8cpp/utf8.h REQUIRED NO_CMAKE_FIND_ROOT_PATH)
set(headers "${CMAKE_BINARY_DIR}/header-only")
file(MAKE_DIRECTORY "${headers}")
file(CREATE_LINK "${nlohmann}/nlohmann" "${headers}/nlohmann" SYMBOLIC)
file(CREATE_LINK "${utf8cpp}/utf8cpp" "${headers}/utf8cpp" SYMBOLIC)
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE "${headers}")
set(UTF8CPP_INCLUDE_DIR "${headers}/utf8cpp")

# The product's JSON file becomes a source of the core. A file that cannot be used stops the build with a
# sentence that says why.
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

if(NOT EXISTS "${KAVIO_PRODUCT}")
  message(FATAL_ERROR "KAVIO_PRODUCT names no file: ${KAVIO_PRODUCT}")
endif()

cmake_path(SET embedScript NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../scripts/embed_configuration.py")
set(KAVIO_BUILD_CONFIG_SOURCE "${PROJECT_BINARY_DIR}/product/BuildConfigData.cpp")
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/product")
add_custom_command(
  OUTPUT "${KAVIO_BUILD_CONFIG_SOURCE}"
  COMMAND Python3::Interpreter "${embedScript}" "${KAVIO_PRODUCT}" "${KAVIO_BUILD_CONFIG_SOURCE}"
  DEPENDS "${KAVIO_PRODUCT}" "${embedScript}"
  COMMENT "Embedding the product's configuration"
  VERBATIM)

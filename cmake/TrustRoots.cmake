# kavio_trust_roots(TARGET ROOTS [DEPENDS]): a library that says which certificates the verifier trusts. ROOTS is a PEM
# file, which a step of the build may make, or "apple".
cmake_path(SET trustRootsScript NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../scripts/embed_trust_roots.py")
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

function(kavio_trust_roots target roots)
  set(source "${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp")
  set(dependencies "${trustRootsScript}")
  if(NOT roots STREQUAL "apple")
    list(APPEND dependencies "${roots}")
  endif()
  add_custom_command(
    OUTPUT "${source}"
    COMMAND Python3::Interpreter "${trustRootsScript}" "${roots}" "${source}"
    DEPENDS ${dependencies}
    COMMENT "Embedding the trust roots of ${target}"
    VERBATIM)
  add_library(${target} STATIC "${source}")
  target_link_libraries(${target} PUBLIC CodeSign)
endfunction()

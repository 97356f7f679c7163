# One library per source folder, with an nq:: alias so that link lines read as the dependency graph.
#
# Every module gets an include root of its own under the build tree that holds one entry, a link
# named after the folder. "#include "wire/packet.h"" therefore resolves only for targets that link
# nq::wire (directly or through a module that does): a header of a library you do not link does
# not compile, so the link lines are the layering and nothing else can quietly widen it.
#
# nq_add_module(NAME name SOURCES ... [FOLDER dir] [DEPS ...] [PRIVATE_DEPS ...])
#   FOLDER is the folder's name in #include lines; it defaults to NAME.
function(nq_add_module)
  cmake_parse_arguments(M "" "NAME;FOLDER" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  if(NOT M_FOLDER)
    set(M_FOLDER ${M_NAME})
  endif()
  add_library(nq_${M_NAME} STATIC ${M_SOURCES})
  add_library(nq::${M_NAME} ALIAS nq_${M_NAME})
  nq_module_include_root(${M_FOLDER} root)
  target_include_directories(nq_${M_NAME} PUBLIC ${root})
  target_link_libraries(nq_${M_NAME} PUBLIC ${M_DEPS} PRIVATE ${M_PRIVATE_DEPS})
endfunction()

# The include root that exposes the current source folder as "<folder>/..." and nothing else.
function(nq_module_include_root folder out)
  set(root ${PROJECT_BINARY_DIR}/include/${folder})
  if(NOT EXISTS ${root}/${folder})
    file(MAKE_DIRECTORY ${root})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${folder} SYMBOLIC)
  endif()
  set(${out} ${root} PARENT_SCOPE)
endfunction()

# nq_add_test(NAME name SOURCES ... DEPS ... [PROPERTIES ...]): one GoogleTest program per folder,
# sharing one main; PROPERTIES go to every test it holds (a fixture it needs, its environment).
function(nq_add_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;DEPS;PROPERTIES" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE nq::test_support ${T_DEPS})
  # The shared main sets QT_QPA_PLATFORM and NQ_BIN_DIR, so a test runs the same from ctest or by hand.
  gtest_discover_tests(${T_NAME} DISCOVERY_TIMEOUT 30 PROPERTIES ${T_PROPERTIES})
endfunction()

# One library per source folder, with an nq:: alias so that link lines read as the dependency graph.
# nq_add_module(NAME name SOURCES ... [DEPS ...] [PRIVATE_DEPS ...])
function(nq_add_module)
  cmake_parse_arguments(M "" "NAME" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(nq_${M_NAME} STATIC ${M_SOURCES})
  add_library(nq::${M_NAME} ALIAS nq_${M_NAME})
  target_include_directories(nq_${M_NAME} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(nq_${M_NAME} PUBLIC ${M_DEPS} PRIVATE ${M_PRIVATE_DEPS})
endfunction()

# nq_add_test(NAME name SOURCES ... DEPS ...): one GoogleTest program per folder, sharing one main.
function(nq_add_test)
  cmake_parse_arguments(T "" "NAME" "SOURCES;DEPS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE nq::test_support ${T_DEPS})
  # The shared main sets QT_QPA_PLATFORM and NQ_BIN_DIR, so a test runs the same from ctest or by hand.
  gtest_discover_tests(${T_NAME} DISCOVERY_TIMEOUT 30)
endfunction()

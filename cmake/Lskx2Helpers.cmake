# lskx2_add_test(NAME <name> SOURCES <files...> LIBS <targets...> [SCANNER])
# One GoogleTest executable per class family; every test case registered with CTest.
# SCANNER: its cases claim the simulator's scanner machine-wide, so CTest runs them one
# at a time (in parallel they would refuse each other's claim).
function(lskx2_add_test)
  cmake_parse_arguments(T "SCANNER" "NAME" "SOURCES;LIBS" ${ARGN})
  set(extra)
  if(T_SCANNER)
    set(extra RESOURCE_LOCK lskx2_scanner_claim)
  endif()
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main GTest::gmock Threads::Threads)
  target_include_directories(${T_NAME} PRIVATE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/include)
  gtest_discover_tests(${T_NAME} DISCOVERY_TIMEOUT 60
                       PROPERTIES ENVIRONMENT "LSKX2_BIN_DIR=${CMAKE_BINARY_DIR}/bin" ${extra})
endfunction()

include(GoogleTest)

# zr_add_test(name [LIBRARIES lib...] [SOURCES extra...])
# Builds name.cpp (beside the calling CMakeLists.txt) into a GoogleTest executable, links the
# given libraries and registers every test case with CTest.
function(zr_add_test name)
  if(NOT ZR_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "LIBRARIES;SOURCES" ${ARGN})
  add_executable(${name} ${name}.cpp ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
endfunction()

# The subsystem libraries are static, position-independent and hidden by default: the loadable
# library combines them and exports one entry point only.
function(zr_add_subsystem name)
  add_library(${name} STATIC ${ARGN})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  set_target_properties(${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

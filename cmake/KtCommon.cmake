find_program(KT_CCACHE ccache)
if(KT_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KT_CCACHE})
endif()

add_compile_options(-Wall -Wextra)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Host structs mirror the SDK layout and are copied with memcpy on purpose.
  add_compile_options(-Wno-class-memaccess)
endif()

# One test executable per folder: every *_test.cpp in the folder.
function(kt_add_test_folder name)
  cmake_parse_arguments(T "" "" "LIBS" ${ARGN})
  file(GLOB srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT srcs)
    return()
  endif()
  add_executable(${name} ${srcs})
  target_link_libraries(${name} PRIVATE ${T_LIBS} kt_test_support GTest::gtest GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60
    PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen;KT_PLUGIN_DIR=${CMAKE_BINARY_DIR}/bin")
endfunction()

# A plug-in subsystem: every .cpp under the folder, ui/ included.
function(kt_add_subsystem name)
  cmake_parse_arguments(S "" "" "LIBS" ${ARGN})
  file(GLOB_RECURSE srcs CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  if(NOT srcs)
    add_library(${name} INTERFACE)
    target_link_libraries(${name} INTERFACE ${S_LIBS})
    return()
  endif()
  add_library(${name} STATIC ${srcs})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${S_LIBS})
endfunction()

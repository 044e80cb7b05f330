# Creates the internal static library of one source folder from every .cpp in
# it; the library's public include root is src/ so code includes
# "settings/log_helper.h", "transport/ctransport.h" and so on.
function(vireo2_internal_library name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  file(GLOB headers CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
  if(NOT sources)
    # A folder whose code has not landed yet still gives a usable target.
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  else()
    add_library(${name} STATIC ${sources} ${headers})
    set(scope PUBLIC)
  endif()
  target_include_directories(${name} ${scope} ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_compile_definitions(${name} ${scope} VIREO2_BUILDING_LIBRARY QT_NO_KEYWORDS)
  if(ARGN)
    target_link_libraries(${name} ${scope} ${ARGN})
  endif()
endfunction()

# A GoogleTest executable whose cases ctest runs one per process.
function(vireo2_add_test name)
  cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${T_SOURCES})
  target_link_libraries(${name} PRIVATE ${T_LIBS} GTest::gtest GTest::gtest_main Threads::Threads)
  target_compile_definitions(${name} PRIVATE
    VIREO2_BUILD_DIR="${CMAKE_BINARY_DIR}"
    VIREO2_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()

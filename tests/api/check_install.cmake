# Installs the built project into a fresh prefix, then builds and runs a small
# C host against the installed files twice: found through find_package(Vireo2)
# and through pkg-config. The installed programs run from the tree as they are.
#   cmake -DBUILD_DIR=... -DWORK=... -DC_COMPILER=... [-DC_FLAGS=...] -P check_install.cmake
# C_FLAGS carries the sanitizer options of a sanitizer build (a list).
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
  set(output "${out}" PARENT_SCOPE)
endfunction()

# Runs `program` with the installed library and checks what it prints.
function(expect_interface_version program)
  set(ENV{LD_LIBRARY_PATH} ${libdir})
  run(${program})
  if(NOT output STREQUAL "interface 1.2, L* 100.0\n")
    message(FATAL_ERROR "${program} printed '${output}'")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
file(GLOB_RECURSE pc_files ${prefix}/*/vireo2.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pkgconfig_dir ${pc_file} DIRECTORY)
get_filename_component(libdir ${pkgconfig_dir} DIRECTORY)
foreach(installed include/vireo2.h include/vireo2_colour.h share/doc/Vireo2/LICENSE share/doc/Vireo2/CHANGELOG.md
                  share/vireo2/udev/70-vireo2.rules.in)
  if(NOT EXISTS ${prefix}/${installed})
    message(FATAL_ERROR "not installed: ${installed}")
  endif()
endforeach()

file(WRITE ${WORK}/host/host.c [=[
#include <stdio.h>
#include "vireo2.h"
#include "vireo2_colour.h"

int main(void)
{
    double white[31], lab[3];
    for (int i = 0; i < 31; ++i)
        white[i] = 100.0;
    if (!Vireo2_SpectrumToLab(white, 0, 0, lab))
        return 1;
    printf("interface %s, L* %.1f\n", GetInterfaceVersion(), lab[0]);
    return 0;
}
]=])
file(WRITE ${WORK}/host/CMakeLists.txt [=[
cmake_minimum_required(VERSION 3.16)
project(host C)
find_package(Vireo2 1.0 REQUIRED)
add_executable(host host.c)
target_link_libraries(host PRIVATE Vireo2::Vireo2)
if(NOT Vireo2_LICENSE STREQUAL "MIT")
  message(FATAL_ERROR "the package states no licence")
endif()
]=])

# find_package(Vireo2)
string(REPLACE ";" " " c_flags_line "${C_FLAGS}")
run(${CMAKE_COMMAND} -S ${WORK}/host -B ${WORK}/host-build -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_C_COMPILER=${C_COMPILER} "-DCMAKE_C_FLAGS=${c_flags_line}")
run(${CMAKE_COMMAND} --build ${WORK}/host-build)
expect_interface_version(${WORK}/host-build/host)

# pkg-config, from the installed tree's own .pc file
set(ENV{PKG_CONFIG_PATH} ${pkgconfig_dir})
run(pkg-config --variable=pcfiledir vireo2)
file(READ ${pc_file} pc_text)
if(NOT pc_text MATCHES "\nLicense: MIT\n")
  message(FATAL_ERROR "vireo2.pc states no licence")
endif()
run(pkg-config --cflags --libs vireo2)
separate_arguments(flags UNIX_COMMAND "${output}")
run(${C_COMPILER} ${C_FLAGS} ${WORK}/host/host.c -o ${WORK}/host-pc ${flags})
expect_interface_version(${WORK}/host-pc)

# The programs find the library of their own tree.
unset(ENV{LD_LIBRARY_PATH})
run(${prefix}/bin/vireo2 --help)
run(${prefix}/bin/vireo2-sim --help)

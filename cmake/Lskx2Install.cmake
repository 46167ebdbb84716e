# Install rules and Debian packages.
#
# Layout under the prefix (Debian multiarch libdir when the prefix is /usr):
#   lib/<triplet>/liblivescannerkx2.so.<version>, .so.1         liblivescannerkx2-1
#   include/livescannerkx2*.h, lib/<triplet>/liblivescannerkx2.so,
#   lib/<triplet>/cmake/livescannerkx2/, lib/<triplet>/pkgconfig/    liblivescannerkx2-dev
#   lib/<triplet>/livescannerkx2/simulator/, bin/livescannerkx2-sim   livescannerkx2-simulator
#   lib/<triplet>/livescannerkx2/recorder/                    livescannerkx2-simulator
#   bin/lskx2                                                 livescannerkx2-tools
#   lib/python3/dist-packages/livescannerkx2/                 python3-livescannerkx2
#
# The simulator stays out of the loader's default path: a vendor device library installed
# in the system folders must win. `livescannerkx2-sim CMD...` runs CMD with the simulator
# first on LD_LIBRARY_PATH.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(LSKX2_PYTHON_INSTALL_DIR "lib/python3/dist-packages" CACHE STRING
    "Folder (relative to the prefix) for the Python package")
set(LSKX2_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/livescannerkx2)
set(LSKX2_SIMULATOR_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/livescannerkx2/simulator)

# Consumers see the public header folder, nothing of the sections inside.
target_include_directories(livescannerkx2 INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<BUILD_INTERFACE:${LSKX2_GENERATED_INCLUDE_DIR}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# The installed library lives in a system folder: no RUNPATH, the loader's own search
# finds the device library.
set_target_properties(livescannerkx2 PROPERTIES INSTALL_RPATH "")

install(TARGETS livescannerkx2 EXPORT livescannerkx2Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(FILES ${PROJECT_SOURCE_DIR}/include/livescannerkx2.h ${LSKX2_GENERATED_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

install(EXPORT livescannerkx2Targets NAMESPACE livescannerkx2::
  DESTINATION ${LSKX2_CMAKE_INSTALL_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/livescannerkx2Config.cmake.in
  ${PROJECT_BINARY_DIR}/livescannerkx2Config.cmake
  INSTALL_DESTINATION ${LSKX2_CMAKE_INSTALL_DIR}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR LSKX2_SIMULATOR_INSTALL_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/livescannerkx2ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/livescannerkx2Config.cmake
              ${PROJECT_BINARY_DIR}/livescannerkx2ConfigVersion.cmake
  DESTINATION ${LSKX2_CMAKE_INSTALL_DIR} COMPONENT dev)

# pkg-config: the prefix is the one of the install step (cmake --install --prefix, CPack),
# not the one configured.
set(LSKX2_PC_PREFIX "@LSKX2_PC_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/livescannerkx2.pc.in ${PROJECT_BINARY_DIR}/livescannerkx2.pc.in @ONLY)
install(CODE "
  file(READ \"${PROJECT_BINARY_DIR}/livescannerkx2.pc.in\" pc)
  string(REPLACE \"@LSKX2_PC_PREFIX@\" \"\${CMAKE_INSTALL_PREFIX}\" pc \"\${pc}\")
  file(WRITE \"${PROJECT_BINARY_DIR}/livescannerkx2.pc\" \"\${pc}\")" COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/livescannerkx2.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/liblivescannerkx2-dev/examples COMPONENT dev)

install(TARGETS kxScanAPI veltranofakefingerdetectionkx2
  LIBRARY DESTINATION ${LSKX2_SIMULATOR_INSTALL_DIR} COMPONENT simulator)
# The recording device library bears the vendor library's name too: a private folder of
# its own, which lskx2 record puts first on the loader's path of its capture.
install(TARGETS kxrecorder
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/livescannerkx2/recorder COMPONENT simulator)
file(RELATIVE_PATH LSKX2_SIMULATOR_FROM_BIN
     /${CMAKE_INSTALL_BINDIR} /${LSKX2_SIMULATOR_INSTALL_DIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/livescannerkx2-sim.in
               ${PROJECT_BINARY_DIR}/livescannerkx2-sim @ONLY)
install(PROGRAMS ${PROJECT_BINARY_DIR}/livescannerkx2-sim
  DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)

install(TARGETS lskx2 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/livescannerkx2
  DESTINATION ${LSKX2_PYTHON_INSTALL_DIR} COMPONENT python
  FILES_MATCHING PATTERN "*.py" PATTERN "__pycache__" EXCLUDE)

# lskx2_simulator_env(<out var> <tag> <serial>): the environment of a test that opens a
# scanner of its own: a simulated one named "KX2 <serial>" (serial: 2 and seven digits)
# with the demo script, claimed in a lock folder of its own, so that tests running side
# by side never refuse each other.
function(lskx2_simulator_env out tag serial)
  set(dir ${PROJECT_BINARY_DIR}/simulator-tests/${tag})
  file(MAKE_DIRECTORY ${dir}/locks)
  file(WRITE ${dir}/kxsim.json "{\"devices\": [{\"serial\": \"${serial}\"}]}\n")
  set(${out} "KXSIM_CONFIG=${dir}/kxsim.json;VELTRANO_SDK_LOCK_DIR=${dir}/locks" PARENT_SCOPE)
endfunction()

# The examples build in the tree too (the target below stands in for the installed
# package) and run on the simulator beside the library.
add_library(livescannerkx2::livescannerkx2 ALIAS livescannerkx2)
if(LSKX2_TESTS)
  add_subdirectory(examples)
  set(serial 29000001)
  foreach(example plain_capture roll_capture)
    lskx2_simulator_env(env ${example} ${serial})
    math(EXPR serial "${serial} + 1")
    add_test(NAME example_${example} COMMAND ${example} ${PROJECT_BINARY_DIR}/${example}.pgm)
    set_tests_properties(example_${example} PROPERTIES ENVIRONMENT "${env}")
    add_dependencies(${example} kxScanAPI)
  endforeach()
endif()

# The Python suite against the build tree, when the interpreter has what it needs. The
# sanitizer builds leave it out: their runtime must be loaded before the interpreter.
if(LSKX2_TESTS AND NOT LSKX2_SANITIZE AND NOT LSKX2_TSAN)
  find_program(LSKX2_PYTHON3 NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
  if(LSKX2_PYTHON3)
    execute_process(COMMAND ${LSKX2_PYTHON3} -c "import numpy, pytest"
                    RESULT_VARIABLE lskx2_py_missing OUTPUT_QUIET ERROR_QUIET)
  endif()
  if(LSKX2_PYTHON3 AND NOT lskx2_py_missing)
    add_test(NAME python_binding
      COMMAND ${LSKX2_PYTHON3} -m pytest -q -p no:cacheprovider ${PROJECT_SOURCE_DIR}/python/tests)
    lskx2_simulator_env(env python 29000003)
    set_tests_properties(python_binding PROPERTIES ENVIRONMENT
      "PYTHONPATH=${PROJECT_SOURCE_DIR}/python;LIVESCANNERKX2_LIBRARY=$<TARGET_FILE:livescannerkx2>;PYTHONDONTWRITEBYTECODE=1;${env}")
  else()
    message(STATUS "python_binding test left out: /usr/bin/python3 with numpy and pytest "
                   "not found (scripts/package-test.sh installs them)")
  endif()
endif()

# Debian packages, one per component, dependencies on system libraries by dpkg-shlibdeps.
# Each component names its own summary (first line of its description).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME livescannerkx2)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "KX2 SDK maintainers <kx2-sdk@veltrano.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev simulator tools python)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The program needs the SDK library of the same build; its package is a component
# dependency already.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liblivescannerkx2-1)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Live scanner SDK for KX2 fingerprint scanners: shared library
The plain C interface of the KX2 live scanner SDK. The scanner is reached
through the vendor's device library, libkxScanAPI.so, loaded at run time.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS livescannerkx2-simulator)
# A shlibs file, so that packages linked against the library depend on this one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME liblivescannerkx2-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_DEBIAN_DEV_DESCRIPTION "Live scanner SDK for KX2 fingerprint scanners: development files
Header, CMake package (livescannerkx2::livescannerkx2), pkg-config file and
examples in C.")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME livescannerkx2-simulator)
set(CPACK_DEBIAN_SIMULATOR_DESCRIPTION "Live scanner SDK for KX2 fingerprint scanners: scanner simulator
A stand-in for the device library and the liveness library that renders
live-scan frames of a scripted finger, in a private folder off the loader's
path; livescannerkx2-sim runs a program with it. Also the recording device
library, with which lskx2 record and replay keep a scanner session in a file.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME livescannerkx2-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS livescannerkx2-simulator)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Live scanner SDK for KX2 fingerprint scanners: command-line program
lskx2 lists the attached scanners and captures plain and rolled fingerprints
into PNG images, JSON figures and an HTML report, guiding the operator through
each roll. It also prints the SDK version and error texts.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-livescannerkx2)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_COMPONENT_PYTHON_DEPENDS runtime)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3, python3-numpy")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION "Live scanner SDK for KX2 fingerprint scanners: Python binding
The SDK from Python over ctypes, with images as numpy arrays, plain and guided
roll captures, and python3 -m livescannerkx2 to list scanners and capture.")

# Every package carries its copyright and changelog; the program and the simulator's
# runner their manual pages. Compressed as Debian wants them, at configure time, since
# the package build installs without building everything.
set(lskx2_debian_docs ${PROJECT_BINARY_DIR}/debian-docs)
file(MAKE_DIRECTORY ${lskx2_debian_docs})
foreach(doc packaging/changelog man/lskx2.1 man/livescannerkx2-sim.1)
  get_filename_component(name ${doc} NAME)
  execute_process(COMMAND gzip -9 -n -c ${PROJECT_SOURCE_DIR}/${doc}
                  OUTPUT_FILE ${lskx2_debian_docs}/${name}.gz COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${doc})
endforeach()
foreach(component runtime dev simulator tools python)
  string(TOUPPER ${component} upper)
  set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${lskx2_debian_docs}/changelog.gz
          DESTINATION ${doc_dir} COMPONENT ${component})
endforeach()
install(FILES ${lskx2_debian_docs}/lskx2.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
        COMPONENT tools)
install(FILES ${lskx2_debian_docs}/livescannerkx2-sim.1.gz
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator)
# The loader's cache is refreshed by a dpkg trigger; scripts of our own stop CPack from
# generating ones that call ldconfig directly.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/runtime/triggers
    ${PROJECT_SOURCE_DIR}/packaging/runtime/postinst ${PROJECT_SOURCE_DIR}/packaging/runtime/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/runtime/lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
        RENAME ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} COMPONENT runtime)

include(CPack)

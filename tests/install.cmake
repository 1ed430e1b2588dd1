# Installs the tree into a scratch prefix and uses it as a stranger's project would.
add_executable(makecalldatabase install/makecalldatabase.cpp)
target_link_libraries(makecalldatabase PRIVATE sqliterecovery_settings SQLite::SQLite3)

set(install_test_flags "")
if(SQLITERECOVERY_SANITIZE)
    # The consumer must bring the runtime that the library was built against.
    set(install_test_flags "-fsanitize=address,undefined")
endif()
set(install_test_example "")
if(SQLITERECOVERY_EXAMPLES)
    set(install_test_example ${PROJECT_SOURCE_DIR}/examples/recoverdialog)
endif()
add_test(NAME install COMMAND ${CMAKE_COMMAND}
    -DBUILD_DIR=${PROJECT_BINARY_DIR}
    -DSOURCE_DIR=${CMAKE_CURRENT_SOURCE_DIR}/install
    -DEXAMPLE_DIR=${install_test_example}
    -DSCRATCH_DIR=${CMAKE_CURRENT_BINARY_DIR}/install
    -DBINDIR=${CMAKE_INSTALL_BINDIR} -DLIBDIR=${CMAKE_INSTALL_LIBDIR}
    -DINCLUDEDIR=${CMAKE_INSTALL_INCLUDEDIR}
    "-DPUBLIC_HEADERS=${SQLITERECOVERY_PUBLIC_HEADERS}"
    -DVERSION=${PROJECT_VERSION}
    -DGENERATOR=${CMAKE_GENERATOR} -DCXX_COMPILER=${CMAKE_CXX_COMPILER}
    -DCXX_FLAGS=${install_test_flags} -DNM=${CMAKE_NM}
    -DMAKE_DATABASE=$<TARGET_FILE:makecalldatabase>
    -P ${CMAKE_CURRENT_SOURCE_DIR}/install/run.cmake)
set_tests_properties(install PROPERTIES TIMEOUT 600
    ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp")

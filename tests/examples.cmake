# Tests of the examples, which are programs of their own otherwise.
find_package(Qt5 5.15 REQUIRED COMPONENTS Widgets)

set(recoverdialog ${PROJECT_SOURCE_DIR}/examples/recoverdialog)
add_executable(tst_recoverdialog tst_recoverdialog.cpp
    ${recoverdialog}/databases.h ${recoverdialog}/databases.cpp
    ${recoverdialog}/foundrecords.h ${recoverdialog}/foundrecords.cpp
    ${recoverdialog}/mainwindow.h ${recoverdialog}/mainwindow.cpp
    ${recoverdialog}/scanthread.h ${recoverdialog}/scanthread.cpp)
target_compile_definitions(tst_recoverdialog PRIVATE
    MAKESAMPLE_PROGRAM="$<TARGET_FILE:makesample>")
target_link_libraries(tst_recoverdialog PRIVATE
    sqliterecovery sqliterecovery_settings Qt5::Widgets Qt5::Test)
add_dependencies(tst_recoverdialog makesample)
add_test(NAME tst_recoverdialog COMMAND tst_recoverdialog)
set_tests_properties(tst_recoverdialog PROPERTIES TIMEOUT 300
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")

# Tests of the printers, and of what a browser makes of the HTML report.
find_package(Qt5 5.15 REQUIRED COMPONENTS Network)

# Objects, not an archive: nothing refers to the page's template, which an archive would leave out.
add_library(sqliterecovery_reportsupport OBJECT
    support/browser.h support/browser.cpp
    support/reportfixture.h support/reportfixture.cpp
)
target_link_libraries(sqliterecovery_reportsupport PUBLIC
    sqliterecovery sqliterecovery_settings Qt5::Network Qt5::Test)

# What the page does in a browser has nothing to do with the sanitizers.
set(report_tests tst_cliparts tst_htmlreport)
if(NOT SQLITERECOVERY_SANITIZE)
    list(APPEND report_tests tst_reportinbrowser)
endif()
foreach(name IN LISTS report_tests)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE
        sqliterecovery_reportsupport sqliterecovery_cli_objects)
    target_compile_definitions(${name} PRIVATE
        MAKESAMPLE_PROGRAM="$<TARGET_FILE:makesample>"
        PICTURE_FOLDER="${PROJECT_BINARY_DIR}/reportpictures")
    add_dependencies(${name} makesample)
    # Without a browser the test says so and counts as skipped.
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300 SKIP_REGULAR_EXPRESSION "SKIP   : "
        ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
endforeach()
# It waits more than it computes: others run beside it when it begins first.
if(TEST tst_reportinbrowser)
    set_tests_properties(tst_reportinbrowser PROPERTIES COST 100)
endif()

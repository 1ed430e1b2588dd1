# Tests of the program: from outside, as users run it, and of the parts that need exact input.
add_executable(tst_cli tst_cli.cpp)
target_compile_definitions(tst_cli PRIVATE
    SQLITERECOVERY_PROGRAM="$<TARGET_FILE:sqliterecovery-cli>")
target_link_libraries(tst_cli PRIVATE sqliterecovery_testsupport)
add_dependencies(tst_cli sqliterecovery-cli)

foreach(name tst_backupfolder tst_findings tst_hostilefiles tst_ownership tst_propertylist)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE
        sqliterecovery_testsupport sqliterecovery_cli_objects sqliterecovery)
endforeach()
foreach(name tst_findings tst_hostilefiles)
    target_link_libraries(${name} PRIVATE sqliterecovery_resultchecks)
endforeach()
target_compile_definitions(tst_backupfolder PRIVATE
    MAKESAMPLE_PROGRAM="$<TARGET_FILE:makesample>")
add_dependencies(tst_backupfolder makesample)

foreach(name tst_backupcommand tst_evidence)
    add_executable(${name} ${name}.cpp)
    target_compile_definitions(${name} PRIVATE
        SQLITERECOVERY_PROGRAM="$<TARGET_FILE:sqliterecovery-cli>"
        MAKESAMPLE_PROGRAM="$<TARGET_FILE:makesample>")
    target_link_libraries(${name} PRIVATE
        sqliterecovery_testsupport sqliterecovery_cli_objects sqliterecovery)
    add_dependencies(${name} sqliterecovery-cli makesample)
endforeach()

add_executable(tst_jsonfields tst_jsonfields.cpp)
target_compile_definitions(tst_jsonfields PRIVATE
    SQLITERECOVERY_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
target_link_libraries(tst_jsonfields PRIVATE
    sqliterecovery_cli_objects sqliterecovery sqliterecovery_settings Qt5::Test)

add_executable(tst_manual tst_manual.cpp)
target_compile_definitions(tst_manual PRIVATE
    SQLITERECOVERY_PROGRAM="$<TARGET_FILE:sqliterecovery-cli>"
    SQLITERECOVERY_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
target_link_libraries(tst_manual PRIVATE sqliterecovery_testsupport)
add_dependencies(tst_manual sqliterecovery-cli)

add_executable(tst_comparetruth tst_comparetruth.cpp)
target_compile_definitions(tst_comparetruth PRIVATE
    COMPARETRUTH_PROGRAM="$<TARGET_FILE:comparetruth>")
target_link_libraries(tst_comparetruth PRIVATE sqliterecovery_settings Qt5::Test)
add_dependencies(tst_comparetruth comparetruth)

foreach(name tst_backupcommand tst_backupfolder tst_cli tst_comparetruth tst_evidence
        tst_findings tst_hostilefiles tst_jsonfields tst_manual tst_ownership
        tst_propertylist)
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300
        ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan.supp:print_suppressions=0")
endforeach()

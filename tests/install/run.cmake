# Installs, then builds and runs a separate project that knows nothing but the installed files.
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE code)
    if(NOT code EQUAL 0)
        list(JOIN ARGV " " command)
        message(FATAL_ERROR "failed (${code}): ${command}\n${output}${errors}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect what actual expected)
    if(NOT actual STREQUAL expected)
        message(FATAL_ERROR "${what}\n  is:       ${actual}\n  expected: ${expected}")
    endif()
endfunction()

set(prefix ${SCRATCH_DIR}/prefix)
file(REMOVE_RECURSE ${SCRATCH_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# Private headers stay at home.
file(GLOB_RECURSE installed RELATIVE ${prefix}/${INCLUDEDIR} ${prefix}/${INCLUDEDIR}/*)
list(TRANSFORM PUBLIC_HEADERS REPLACE "^api/" "sqliterecovery/")
list(SORT installed)
list(SORT PUBLIC_HEADERS)
expect("installed headers" "${installed}" "${PUBLIC_HEADERS}")

foreach(file man/man1/sqliterecovery.1 bash-completion/completions/sqliterecovery)
    if(NOT EXISTS ${prefix}/share/${file})
        message(FATAL_ERROR "not installed: share/${file}")
    endif()
endforeach()

# The library hands out the public interface and nothing of its inside.
run(${NM} -DC --defined-only ${prefix}/${LIBDIR}/libsqliterecovery.so)
set(functions backupFileName backupLocations readBackupIndex checkDatabase checkLog whyNothingFound
    readableLabel personValueKind)
foreach(name ${functions}
        SqliteRecovery::scanRecoveryForType SqliteRecovery::getCallhistory
        WalRecovery::scanRecoveryForType WalRecovery::getContact)
    if(NOT output MATCHES " T ${name}\\(")
        message(FATAL_ERROR "not exported: ${name}\n${output}")
    endif()
endforeach()
# Inline code of the standard library is in every library; the sanitizers name Qt's types as well,
# and the linker the ends of its sections.
list(JOIN functions "|" functions)
set(public "(Sqlite|Wal)Recovery::|(${functions})\\(")
set(public " [A-Za-z] (${public}|_init|_fini|_edata|_end|__|[^(<]*std::|typeinfo (name )?for Q)")
string(REGEX MATCHALL "[^\n]+" symbols "${output}")
foreach(symbol IN LISTS symbols)
    if(NOT symbol MATCHES "${public}")
        message(FATAL_ERROR "exported, but not public: ${symbol}")
    endif()
endforeach()

run(${prefix}/${BINDIR}/sqliterecovery --version)
expect("version of the installed program" "${output}" "sqliterecovery ${VERSION}\n")

run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/consumer -B ${SCRATCH_DIR}/consumer -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DCMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/consumer)
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
run(pkg-config --variable=includedir sqliterecovery)
string(STRIP "${output}" includedir)
if(NOT EXISTS ${includedir}/sqliterecovery/sqliterecovery.h)
    message(FATAL_ERROR "pkg-config leads to no headers: ${includedir}")
endif()
run(${MAKE_DATABASE} ${SCRATCH_DIR}/call.db)
run(${SCRATCH_DIR}/consumer/consumer ${SCRATCH_DIR}/call.db)
expect("output of the consumer" "${output}"
    "readable 1, result 0, calls 1: +15551234567, done 1, progress 1, log -1\n")
run(${prefix}/${BINDIR}/sqliterecovery scan call-history ${SCRATCH_DIR}/call.db --format jsonl)
expect("output of the installed program" "${output}"
    "{\"kind\":\"call\",\"address\":\"+15551234567\",\"date\":1342361000,\"dateUtc\":\"2012-07-15T14:03:20Z\",\"duration\":65,\"flags\":5}\n")

# The example is a project of its own, too.
if(EXAMPLE_DIR)
    run(${CMAKE_COMMAND} -S ${EXAMPLE_DIR} -B ${SCRATCH_DIR}/example -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
    run(${CMAKE_COMMAND} --build ${SCRATCH_DIR}/example)
endif()

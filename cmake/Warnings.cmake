# Compile settings that every target of the tree shares.
add_library(sqliterecovery_settings INTERFACE)
target_compile_features(sqliterecovery_settings INTERFACE cxx_std_17)
target_compile_options(sqliterecovery_settings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wcast-align -Wold-style-cast)
if(SQLITERECOVERY_WERROR)
    target_compile_options(sqliterecovery_settings INTERFACE -Werror)
endif()
# Bytes of a damaged file must never turn into text, or back, without a named conversion.
target_compile_definitions(sqliterecovery_settings INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_KEYWORDS QT_DEPRECATED_WARNINGS)
if(SQLITERECOVERY_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()

# What the fuzz targets watch. The samples are not part of it, which saves a third of the build.
add_library(sqliterecovery_instrumented INTERFACE)
if(SQLITERECOVERY_COVERAGE)
    target_compile_options(sqliterecovery_instrumented
        INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(sqliterecovery_instrumented INTERFACE -fprofile-instr-generate)
elseif(SQLITERECOVERY_FUZZ)
    target_compile_options(sqliterecovery_instrumented
        INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    target_link_options(sqliterecovery_instrumented INTERFACE -fsanitize=address,undefined)
    # So that a place beyond the end of one of Qt's arrays is a finding as well.
    target_compile_definitions(sqliterecovery_instrumented INTERFACE QT_FORCE_ASSERTS)
endif()

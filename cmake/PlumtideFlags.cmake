# Warnings (errors in the presets that developers test with), Qt's text rules and the sanitizer switch, for every target
# of ours and for nothing else.
add_library(plumtide_flags INTERFACE)
target_compile_options(plumtide_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion)
target_compile_definitions(plumtide_flags INTERFACE
    QT_DISABLE_DEPRECATED_UP_TO=0x060400 QT_WARN_DEPRECATED_UP_TO=0x060400 # of the oldest Qt that is supported
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH QT_NO_KEYWORDS)
target_include_directories(plumtide_flags INTERFACE ${PROJECT_SOURCE_DIR})

if(PLUMTIDE_SANITIZE)
    target_compile_options(plumtide_flags INTERFACE
        -fsanitize=${PLUMTIDE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
    target_link_options(plumtide_flags INTERFACE -fsanitize=${PLUMTIDE_SANITIZE})
endif()
if(PLUMTIDE_FUZZ)
    target_compile_options(plumtide_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Several files at once compile in a fraction of the time (the sanitizers' presets do so): most of it goes into Qt's
# headers. GCC then takes our files for headers, which must not have members of a type from an anonymous namespace.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_compile_options(plumtide_flags INTERFACE -Wno-subobject-linkage)
endif()

# One static library per folder, under the alias Plumtide::<name>.
function(plumtide_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
    add_library(plumtide_${name} STATIC ${ARG_SOURCES})
    add_library(Plumtide::${name} ALIAS plumtide_${name})
    target_link_libraries(plumtide_${name} PUBLIC ${ARG_USES} PRIVATE plumtide_flags)
    target_include_directories(plumtide_${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

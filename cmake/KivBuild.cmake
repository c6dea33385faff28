# Settings that every target of the build shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# With symbols that the whole process shares, as GCC makes of what inline functions keep, the loader never
# unloads a library again.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)

# The folder of the platform seam's implementations.
set(KIV_PLATFORM $<IF:$<BOOL:${WIN32}>,win32,posix>)

# Programs and DLLs side by side, as Windows looks for them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
# An installed program finds its library wherever the two were put.
set(CMAKE_INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})

find_program(KIV_CCACHE ccache)
if(KIV_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${KIV_CCACHE})
endif()

if(KIV_SANITIZE)
    # Optimised and described as far as a report needs it: that halves the time to build.
    add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    add_link_options(-fsanitize=${KIV_SANITIZE})
    add_compile_definitions(KIV_SANITIZED)
    if(KIV_SANITIZE MATCHES address)
        add_compile_definitions(KIV_ADDRESS_SANITIZER)
    endif()
endif()

add_library(KivWarnings INTERFACE)
target_compile_options(KivWarnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                       $<$<BOOL:${KIV_WARNINGS_ARE_ERRORS}>:-Werror>)

# The compiler's run-time DLLs, beside our programs: exceptions and standard types cross our DLL's border.
if(MINGW)
    foreach(dll libgcc_s_dw2-1.dll libstdc++-6.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
                        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
        file(COPY ${path} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
        list(APPEND KIV_RUNTIME_DLLS ${path})
    endforeach()
    install(FILES ${KIV_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# kiv_header_library(TARGET FOLDER): a header-only library of the system, also for the Windows target,
# which must not see the rest of /usr/include.
function(kiv_header_library target folder)
    find_path(${target}_PARENT ${folder} PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH NO_CACHE REQUIRED)
    set(only ${CMAKE_BINARY_DIR}/headers/${target})
    file(MAKE_DIRECTORY ${only})
    file(CREATE_LINK ${${target}_PARENT}/${folder} ${only}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${only})
endfunction()

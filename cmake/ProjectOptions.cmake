# Flags shared by every target of the project.
add_library(ise_options INTERFACE)
# The foundation's users get its headers through public/ alone; its own folders stay private.
target_include_directories(ise_options INTERFACE ${PROJECT_SOURCE_DIR}/public)
target_compile_options(ise_options INTERFACE -Wall -Wextra $<$<BOOL:${ISE_WERROR}>:-Werror>)

if(WIN32)
    # Unicode off: every Windows call in this project names its A or W variant explicitly.
    target_compile_definitions(ise_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601
                                                     WINVER=0x0601)
endif()

if(ISE_SANITIZE)
    if(WIN32)
        message(FATAL_ERROR "Sanitizers are a native-build feature; MinGW cannot link them")
    endif()
    set(ISE_SANITIZER_FLAGS -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    target_compile_options(ise_options INTERFACE ${ISE_SANITIZER_FLAGS})
    target_link_options(ise_options INTERFACE ${ISE_SANITIZER_FLAGS})
endif()

# ise_library(name [FOUNDATION] SOURCES... [WIN32_SOURCES...] [POSIX_SOURCES...] [DEPS...])
# A FOUNDATION library (tier0, tier1, vstdlib) offers only public/; the layers above it
# name each other's headers from the repository root ("common/registry.h").
function(ise_library name)
    cmake_parse_arguments(ARG "FOUNDATION" "" "SOURCES;WIN32_SOURCES;POSIX_SOURCES;DEPS" ${ARGN})
    set(sources ${ARG_SOURCES})
    if(WIN32)
        list(APPEND sources ${ARG_WIN32_SOURCES})
    else()
        list(APPEND sources ${ARG_POSIX_SOURCES})
    endif()
    add_library(${name} STATIC ${sources})
    target_link_libraries(${name} PUBLIC ise_options ${ARG_DEPS})
    if(NOT ARG_FOUNDATION)
        target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
    endif()
endfunction()

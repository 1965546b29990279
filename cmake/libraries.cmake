# libzeft.so and libzeft.a, both made of the objects of zeft_objects.
#
# cmake/exported.map is the one list of what is visible. The shared library is linked with it. The
# static one is a single object, joined by `ld -r`, in which every symbol that the shared library
# does not export has become local: a model may define functions and classes of any other name.

# g++ would make inline variables "unique", and such symbols stay global for ever.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(zeft_objects PRIVATE -fno-gnu-unique)
endif()

set(export_map ${PROJECT_SOURCE_DIR}/cmake/exported.map)
# A 32-bit library has a different name.
set(ZEFT_NAME zeft)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(ZEFT_NAME zeft_32)
endif()
# The version of the interface that models are compiled against; qk_vercheck() knows it, too.
set(ZEFT_ABI 8)
add_library(zeft_shared SHARED ${ZEFT_OBJECTS})
set_target_properties(zeft_shared PROPERTIES
    OUTPUT_NAME ${ZEFT_NAME} EXPORT_NAME shared LINKER_LANGUAGE CXX
    VERSION ${ZEFT_ABI}.${PROJECT_VERSION} SOVERSION ${ZEFT_ABI} LINK_DEPENDS ${export_map})
target_link_options(zeft_shared PRIVATE -Wl,--version-script=${export_map} -Wl,-z,defs)
target_link_libraries(zeft_shared PRIVATE ZLIB::ZLIB Threads::Threads)

# The GNU linker, even with clang. The groups of inline functions are dissolved: a local member of a group
# that the linker drops in favour of a user's copy would leave a dangling reference.
find_program(ZEFT_LD NAMES ld.bfd REQUIRED)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(ld_machine -m elf_i386)  # ld takes the machine it runs on
endif()
find_program(ZEFT_OBJCOPY NAMES objcopy REQUIRED)
find_program(ZEFT_NM NAMES nm REQUIRED)
set(joined ${PROJECT_BINARY_DIR}/zeft.o)
set(visible ${PROJECT_BINARY_DIR}/zeft.visible)
add_custom_command(
    OUTPUT ${joined}
    BYPRODUCTS ${visible}
    COMMAND ${ZEFT_NM} -D --defined-only --format=just-symbols $<TARGET_FILE:zeft_shared> > ${visible}
    COMMAND ${ZEFT_LD} ${ld_machine} -r --force-group-allocation -o ${joined} ${ZEFT_OBJECTS}
    COMMAND ${ZEFT_OBJCOPY} --keep-global-symbols=${visible} ${joined}
    DEPENDS zeft_shared ${ZEFT_OBJECTS}
    COMMENT "Joining the static library"
    COMMAND_EXPAND_LISTS VERBATIM)
add_library(zeft_static STATIC ${joined})
set_target_properties(zeft_static PROPERTIES
    OUTPUT_NAME ${ZEFT_NAME} EXPORT_NAME static LINKER_LANGUAGE CXX)
target_link_libraries(zeft_static INTERFACE ZLIB::ZLIB Threads::Threads)

foreach(form shared static)
    target_include_directories(zeft_${form} INTERFACE
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
    add_library(zeft::${form} ALIAS zeft_${form})
endforeach()
if(BUILD_SHARED_LIBS)
    add_library(zeft::zeft ALIAS zeft_shared)
else()
    add_library(zeft::zeft ALIAS zeft_static)
endif()

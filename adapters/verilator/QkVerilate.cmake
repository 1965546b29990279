# qk_verilate(): models of Verilog designs, built by qkverilate beside a project's own targets.
#
#   find_package(zeft REQUIRED COMPONENTS verilator)
#   qk_verilate(TARGET SOURCES FILE... [TOP MODULE] [PARAMS NAME=VALUE...] [CLOCKS NET[=PERIOD]...]
#               [EARLY NET...] [FAST] [VERILATOR_ARGS OPTION...])
#
# makes an imported executable TARGET, which add_test(NAME ... COMMAND TARGET ...) can run, and the
# target TARGET_model, part of `all`, which builds it. Whatever the sources include is watched.
function(qk_verilate target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "FAST" "TOP" "SOURCES;PARAMS;CLOCKS;EARLY;VERILATOR_ARGS")
    if(arg_UNPARSED_ARGUMENTS OR NOT arg_SOURCES)
        message(FATAL_ERROR "qk_verilate(${target}): SOURCES are needed; unknown: ${arg_UNPARSED_ARGUMENTS}")
    endif()
    set(program ${CMAKE_CURRENT_BINARY_DIR}/${target})
    set(options -o ${program})
    if(arg_TOP)
        list(APPEND options --top ${arg_TOP})
    endif()
    if(arg_FAST)
        list(APPEND options --fast)
    endif()
    foreach(pair clock=CLOCKS early=EARLY)
        string(REPLACE "=" ";" pair ${pair})
        list(GET pair 0 option)
        list(GET pair 1 keyword)
        foreach(value IN LISTS arg_${keyword})
            list(APPEND options --${option} ${value})
        endforeach()
    endforeach()
    foreach(value IN LISTS arg_PARAMS)
        list(APPEND options -G ${value})
    endforeach()
    set(sources)
    foreach(source IN LISTS arg_SOURCES)
        get_filename_component(source ${source} ABSOLUTE)
        list(APPEND sources ${source})
    endforeach()
    # Not the program: a file of a target's name would be taken for that target.
    set(stamp ${program}.build/qkverilate.stamp)
    add_custom_command(
        OUTPUT ${stamp}
        BYPRODUCTS ${program}
        COMMAND ${ZEFT_QKVERILATE} ${options} ${sources} -- ${arg_VERILATOR_ARGS}
        DEPENDS ${sources} ${ZEFT_QKVERILATE} $<TARGET_FILE:zeft::verilator>
                $<TARGET_FILE:zeft::main> $<TARGET_FILE:zeft::static>
        DEPFILE ${program}.build/qkverilate.d
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
        COMMENT "Building the model ${target}"
        VERBATIM)
    add_custom_target(${target}_model ALL DEPENDS ${stamp})
    add_executable(${target} IMPORTED GLOBAL)
    set_target_properties(${target} PROPERTIES IMPORTED_LOCATION ${program})
    add_dependencies(${target} ${target}_model)
endfunction()

# Comparisons of models with reference traces, as tests of CTest and as a list for zeft-regress.
#
#   zeft_add_validation(NAME name MODEL target TRACE file
#                       [MAP model=trace]... [SYNCTIME time] [CLOCK net[=off]...]
#                       [OPTIONS option...] [LABELS label...] [TIMEOUT seconds] [WILL_FAIL])
#
# Adds the test `name`, which passes when model and trace agree. It runs in the folder
# validation/name of the binary directory, and leaves there report.json and, unless they agree,
# last.vcd.gz with the last 10000 changes. A relative TRACE is in the source directory. TIMEOUT is 600
# unless given. With WILL_FAIL the test passes when model and trace differ: unlike CTest's property
# of that name, not when they cannot be compared.
#
#   zeft_validation_list(file)
#
# Writes all comparisons of the project so far, in their order, as a list for zeft-regress.
function(zeft_add_validation)
    cmake_parse_arguments(PARSE_ARGV 0 arg "WILL_FAIL" "NAME;MODEL;TRACE;SYNCTIME;TIMEOUT"
        "MAP;CLOCK;OPTIONS;LABELS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "zeft_add_validation: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
    endif()
    foreach(word NAME MODEL TRACE)
        if(NOT arg_${word})
            message(FATAL_ERROR "zeft_add_validation: no ${word} is given")
        endif()
    endforeach()
    if(NOT arg_NAME MATCHES "^[A-Za-z0-9_+][A-Za-z0-9_.+-]*$")
        message(FATAL_ERROR "zeft_add_validation: '${arg_NAME}' cannot be the name of a folder")
    endif()
    if(NOT TARGET ${arg_MODEL})
        message(FATAL_ERROR "zeft_add_validation: ${arg_NAME}: '${arg_MODEL}' is no target")
    endif()
    if(NOT DEFINED arg_TIMEOUT)
        set(arg_TIMEOUT 600)
    endif()

    cmake_path(ABSOLUTE_PATH arg_TRACE BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
    set(command $<TARGET_FILE:${arg_MODEL}> --validate ${arg_TRACE})
    foreach(pair IN LISTS arg_MAP)
        list(APPEND command --map ${pair})
    endforeach()
    if(DEFINED arg_SYNCTIME)
        list(APPEND command --synctime ${arg_SYNCTIME})
    endif()
    foreach(net IN LISTS arg_CLOCK)
        list(APPEND command --clock ${net})
    endforeach()
    list(APPEND command ${arg_OPTIONS})

    set(folder ${CMAKE_CURRENT_BINARY_DIR}/validation/${arg_NAME})
    file(MAKE_DIRECTORY ${folder})
    set(tested ${command} --batch --report report.json --last 10000 --vcd last.vcd.gz)
    if(arg_WILL_FAIL)
        set(tested sh -c "\"$@\" && exit 2 || test $? -eq 1" sh ${tested})
    endif()
    add_test(NAME ${arg_NAME} COMMAND ${tested} WORKING_DIRECTORY ${folder})
    set_tests_properties(${arg_NAME} PROPERTIES TIMEOUT ${arg_TIMEOUT} LABELS "${arg_LABELS}")

    set(line ${arg_NAME})
    foreach(word IN LISTS command)
        if(NOT word MATCHES "^([A-Za-z0-9_./=:,@%+-]|[$]<TARGET_FILE:[A-Za-z0-9_.:+-]*>)+$")
            string(REPLACE "'" "'\\''" word "${word}")
            set(word "'${word}'")
        endif()
        string(APPEND line " ${word}")
    endforeach()
    set_property(GLOBAL APPEND_STRING PROPERTY ZEFT_VALIDATIONS "${line}\n")
endfunction()

function(zeft_validation_list file)
    get_property(lines GLOBAL PROPERTY ZEFT_VALIDATIONS)
    cmake_path(ABSOLUTE_PATH file BASE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    file(GENERATE OUTPUT ${file} CONTENT "${lines}")
endfunction()

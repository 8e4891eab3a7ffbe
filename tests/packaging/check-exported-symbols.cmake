# Compares the symbols that the library exports with those written down in exported-symbols.txt.
# Usage: cmake -DLIBRARY=... -DNM=... -DEXPECTED=... -P check-exported-symbols.cmake
execute_process(COMMAND "${NM}" --dynamic --defined-only --demangle --format=posix "${LIBRARY}"
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" lines "${output}")
set(exported)
foreach(line IN LISTS lines)
    # What was not inlined of the standard library's templates, as in a debug build; each binary has its own copy.
    if(line MATCHES "^[^(]* std::.* W [0-9a-f]")
        continue()
    endif()
    # A line is: name, type, value, size. Constructors and destructors come in several variants of one name.
    string(REGEX REPLACE " [A-Za-z] [0-9a-f]+( [0-9a-f]+)?$" "" name "${line}")
    list(APPEND exported "${name}")
endforeach()
list(REMOVE_DUPLICATES exported)

file(STRINGS "${EXPECTED}" expected)
set(missing ${expected})
list(REMOVE_ITEM missing ${exported})
set(additional ${exported})
list(REMOVE_ITEM additional ${expected} "")

foreach(name IN LISTS missing)
    message(SEND_ERROR "No longer exported: ${name}\nA host that was linked against an earlier release may not start any more.")
endforeach()
foreach(name IN LISTS additional)
    message(SEND_ERROR "Newly exported: ${name}\nHosts could come to depend on it, and it could then never change.")
endforeach()

# orvane_set_up_target(<target>): the language, Qt settings and warnings of all our own targets.
function(orvane_set_up_target target)
    target_compile_features(${target} PRIVATE cxx_std_20)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        UNITY_BUILD ${ORVANE_UNITY_BUILD} # not a parent project's setting
        UNITY_BUILD_BATCH_SIZE 0
        AUTOMOC ON
        AUTOMOC_COMPILER_PREDEFINES OFF) # asking the compiler for them takes longer than everything else that moc does here
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_FROM_ASCII
        QT_NO_CAST_TO_ASCII
        QT_NO_CAST_FROM_BYTEARRAY
        QT_NO_URL_CAST_FROM_STRING
        QT_NO_FOREACH
        QT_NO_KEYWORDS
        QT_STRICT_ITERATORS)

    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /permissive- $<$<BOOL:${ORVANE_WARNINGS_AS_ERRORS}>:/WX>)
        return()
    endif()
    # A parent project may warn of shadowed members; parameters of constructors here shadow them.
    target_compile_options(${target} PRIVATE
        -Wno-shadow
        -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wdouble-promotion
        -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wcast-qual -Wformat=2
        -Wimplicit-fallthrough -Wunused -Wextra-semi -Wredundant-decls -Wundef
        $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local;-Wlogical-op;-Wduplicated-cond;-Wduplicated-branches;-Wsuggest-override>
        $<$<BOOL:${ORVANE_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()

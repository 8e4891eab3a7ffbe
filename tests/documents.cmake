# The documents against the code: whatever they show as a fact is played, compiled or counted.
function(orvane_test_documents target)
    target_compile_definitions(${target} PRIVATE ORVANE_SOURCE_DIRECTORY="${PROJECT_SOURCE_DIR}")
endfunction()

orvane_add_test(tst_protocol_document orvane_test_support)
orvane_add_tls_material(tst_protocol_document)
orvane_test_documents(tst_protocol_document)

orvane_add_test(tst_document_snippets)
target_sources(tst_document_snippets PRIVATE support/DocumentBlocks.cpp)
target_include_directories(tst_document_snippets PRIVATE support)
orvane_test_documents(tst_document_snippets)

find_package(Python3 COMPONENTS Interpreter)
if(Python3_Interpreter_FOUND AND TARGET minimal-host AND UNIX)
    add_test(NAME python_client
        COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/python-client" "${Python3_EXECUTABLE}"
            "${PROJECT_SOURCE_DIR}/examples/client-python/orvane_client.py"
            "$<TARGET_FILE:minimal-host>"
            "$<TARGET_FILE_DIR:minimal-host>/minimal-host-tls/hxcert.pem")
endif()

# Not under a sanitizer, whose library would have to be in the programs outside of this tree as well.
if(Python3_Interpreter_FOUND AND TARGET guide-host AND UNIX AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_test(NAME hosting_guide
        COMMAND "${CMAKE_COMMAND}" -E env "PATH=$<TARGET_FILE_DIR:Qt6::rcc>:$ENV{PATH}"
            "${CMAKE_CURRENT_SOURCE_DIR}/hosting-guide" "${PROJECT_SOURCE_DIR}" "${PROJECT_BINARY_DIR}"
            "${CMAKE_COMMAND}" "${Python3_EXECUTABLE}" "$<TARGET_FILE:guide-host>")
    set_tests_properties(hosting_guide PROPERTIES TIMEOUT 120)
endif()

# As the others that build on their own, once is enough.
if(UNIX AND NOT APPLE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_test(NAME readme COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/readme" "${PROJECT_SOURCE_DIR}")
    set_tests_properties(readme PROPERTIES
        TIMEOUT 600
        ENVIRONMENT "CXX=${CMAKE_CXX_COMPILER};CMAKE_GENERATOR=${CMAKE_GENERATOR};CMAKE_BUILD_PARALLEL_LEVEL=2")
endif()

if(TARGET orvane-docs)
    add_test(NAME reference COMMAND "${CMAKE_COMMAND}" --build "${PROJECT_BINARY_DIR}" --target orvane-docs)
endif()

# The documents against the code: whatever they show as a fact is played, compiled or counted.
function(orvane_test_documents target)
    target_compile_definitions(${target} PRIVATE ORVANE_SOURCE_DIRECTORY="${PROJECT_SOURCE_DIR}")
endfunction()

orvane_add_test(tst_protocol_document orvane_test_support)
orvane_add_tls_material(tst_protocol_document)
orvane_test_documents(tst_protocol_document)

orvane_add_test(tst_documented_commands OrvaneInterfaceObjects)
target_sources(tst_documented_commands PRIVATE support/DocumentBlocks.cpp)
target_include_directories(tst_documented_commands PRIVATE support)
orvane_test_documents(tst_documented_commands)

# orvane_set_up_host(<target>): what every host application in this tree needs besides its own code.
find_program(OPENSSL_EXECUTABLE openssl PATHS "$ENV{ProgramFiles}/Git/usr/bin" "$ENV{ProgramFiles}/Git/mingw64/bin")
if(NOT OPENSSL_EXECUTABLE)
    message(FATAL_ERROR "The examples and the tests take keys that openssl makes. Name it with "
        "-DOPENSSL_EXECUTABLE=..., or build neither: -DORVANE_BUILD_EXAMPLES=OFF -DORVANE_BUILD_TESTS=OFF")
endif()

function(orvane_set_up_host target)
    orvane_set_up_target(${target})
    orvane_add_tls_material(${target})
    target_link_libraries(${target} PRIVATE OrvaneInterface::OrvaneInterface)
    if(NOT MSVC)
        # The host interface has no virtual destructor on purpose: the library never deletes through it, and its vtable
        # slots stay where compiled hosts expect them. The compiler would warn about it at each derived class.
        target_compile_options(${target} PRIVATE -Wno-non-virtual-dtor)
    endif()
endfunction()

# orvane_add_tls_material(<target>): the TLS key and certificate that the library reads from the host's Qt resources.
# The pair is self-signed and made at build time, so that no private key is ever part of the sources.
function(orvane_add_tls_material target)
    set(directory "${CMAKE_CURRENT_BINARY_DIR}/${target}-tls")
    set(key "${directory}/hxkey.pem")
    set(certificate "${directory}/hxcert.pem")
    file(MAKE_DIRECTORY "${directory}")
    add_custom_command(
        OUTPUT "${key}" "${certificate}"
        COMMAND "${OPENSSL_EXECUTABLE}" req -x509 -newkey rsa:2048 -nodes -sha256 -days 3650
            -subj "/CN=localhost" -addext "subjectAltName=DNS:localhost,IP:127.0.0.1,IP:::1"
            -keyout "${key}" -out "${certificate}" -batch 2> openssl.log || "${CMAKE_COMMAND}" -E cat openssl.log
        WORKING_DIRECTORY "${directory}"
        COMMENT "Making a self-signed TLS pair for ${target}"
        VERBATIM)
    qt_add_resources(${target} "${target}_tls"
        PREFIX "/Halden/Resources"
        BASE "${directory}"
        FILES "${key}" "${certificate}")
endfunction()

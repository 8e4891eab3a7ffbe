#include "Certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <map>

namespace world {

namespace {

constexpr long DayInSeconds = 24L * 60 * 60;

template <typename Write> std::string pem(Write write)
{
    BIO* out = BIO_new(BIO_s_mem());
    write(out);
    char* data = nullptr;
    const long length = BIO_get_mem_data(out, &data);
    std::string text(data, static_cast<size_t>(length));
    BIO_free(out);
    return text;
}

EVP_PKEY* readKey(const std::string& text)
{
    BIO* in = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
    EVP_PKEY* key = PEM_read_bio_PrivateKey(in, nullptr, nullptr, nullptr);
    BIO_free(in);
    return key;
}

X509* readCertificate(const std::string& text)
{
    BIO* in = BIO_new_mem_buf(text.data(), static_cast<int>(text.size()));
    X509* certificate = PEM_read_bio_X509(in, nullptr, nullptr, nullptr);
    BIO_free(in);
    return certificate;
}

/// Signed by \a issuer, or by itself where there is none.
Pair makePair(const char* name, const Pair* issuer, bool isAuthority)
{
    EVP_PKEY* key = EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256");
    X509* certificate = X509_new();
    X509_set_version(certificate, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), 1 + name[0]);
    X509_gmtime_adj(X509_getm_notBefore(certificate), -DayInSeconds);
    X509_gmtime_adj(X509_getm_notAfter(certificate), 30 * DayInSeconds);
    X509_set_pubkey(certificate, key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
        reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    X509* parent = issuer != nullptr ? readCertificate(issuer->certificate) : nullptr;
    EVP_PKEY* signer = issuer != nullptr ? readKey(issuer->key) : nullptr;
    X509_set_issuer_name(certificate, X509_get_subject_name(parent != nullptr ? parent : certificate));
    X509_EXTENSION* constraint =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_basic_constraints, isAuthority ? "critical,CA:TRUE" : "CA:FALSE");
    X509_add_ext(certificate, constraint, -1);
    X509_EXTENSION_free(constraint);
    X509_sign(certificate, signer != nullptr ? signer : key, EVP_sha256());
    Pair pair {pem([key](BIO* out) { PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); }),
        pem([certificate](BIO* out) { PEM_write_bio_X509(out, certificate); })};
    X509_free(parent);
    EVP_PKEY_free(signer);
    X509_free(certificate);
    EVP_PKEY_free(key);
    return pair;
}

SSL_CTX* makeContext(const std::string& version, const std::string& certificate)
{
    SSL_CTX* context = SSL_CTX_new(TLS_client_method());
    const int protocol = version == "12" ? TLS1_2_VERSION : TLS1_3_VERSION;
    SSL_CTX_set_min_proto_version(context, protocol);
    SSL_CTX_set_max_proto_version(context, protocol);
    SSL_CTX_set_options(context, SSL_OP_IGNORE_UNEXPECTED_EOF);
    if (certificate == "none")
        return context;
    const Pair& pair = certificate == "good" ? certificates().client : certificates().stranger;
    X509* own = readCertificate(pair.certificate);
    EVP_PKEY* key = readKey(pair.key);
    SSL_CTX_use_certificate(context, own);
    SSL_CTX_use_PrivateKey(context, key);
    X509_free(own);
    EVP_PKEY_free(key);
    return context;
}

} // namespace

const Certificates& certificates()
{
    static const Certificates all = [] {
        Certificates made;
        made.authority = makePair("authority", nullptr, true);
        made.client = makePair("client", &made.authority, false);
        made.stranger = makePair("stranger", nullptr, false);
        made.ellipticServer = makePair("host", nullptr, false);
        return made;
    }();
    return all;
}

SSL_CTX* clientContext(const std::string& version, const std::string& certificate)
{
    static auto& contexts = *new std::map<std::string, SSL_CTX*>; // what it holds lives as long as the process
    SSL_CTX*& context = contexts[version + certificate];
    if (context == nullptr)
        context = makeContext(version, certificate);
    return context;
}

} // namespace world

// See web_system.h.
#include "contract/web_system.h"

#include <fstream>
#include <iterator>
#include <vector>

// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

namespace {

std::vector<BYTE> certificate_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::vector<BYTE> bytes(text.size());
    auto size = static_cast<DWORD>(bytes.size());
    if (CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()),
                             CRYPT_STRING_BASE64HEADER, bytes.data(), &size, nullptr,
                             nullptr) == 0) {
        size = 0;
    }
    bytes.resize(size);
    return bytes;
}

// What changes in an open store may be seen by others only when it is closed.
class RootStore {
  public:
    RootStore() = default;
    RootStore(const RootStore&) = delete;
    RootStore& operator=(const RootStore&) = delete;
    ~RootStore() { CertCloseStore(m_store, 0); }
    HCERTSTORE get() const { return m_store; }

  private:
    HCERTSTORE m_store = CertOpenSystemStoreW(0, L"ROOT");
};

} // namespace

struct WebTrust::State {
    std::vector<BYTE> certificate;
    bool is_ready = false;
};

WebTrust::WebTrust(const std::string& path)
    : m_state(std::make_unique<State>(State{certificate_of(path)})) {
    const RootStore store;
    m_state->is_ready = CertAddEncodedCertificateToStore(
                            store.get(), X509_ASN_ENCODING, m_state->certificate.data(),
                            static_cast<DWORD>(m_state->certificate.size()),
                            CERT_STORE_ADD_REPLACE_EXISTING, nullptr) != 0;
}

WebTrust::~WebTrust() {
    const RootStore store;
    PCCERT_CONTEXT certificate =
        CertCreateCertificateContext(X509_ASN_ENCODING, m_state->certificate.data(),
                                     static_cast<DWORD>(m_state->certificate.size()));
    if (certificate == nullptr) {
        return;
    }
    PCCERT_CONTEXT stored = CertFindCertificateInStore(store.get(), X509_ASN_ENCODING, 0,
                                                       CERT_FIND_EXISTING, certificate, nullptr);
    CertFreeCertificateContext(certificate);
    if (stored != nullptr) {
        CertDeleteCertificateFromStore(stored); // and frees it
    }
}

bool WebTrust::is_ready() const {
    return m_state->is_ready;
}

int web_open_handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return static_cast<int>(count);
}

std::string_view web_inexactness() {
    const HMODULE system = GetModuleHandleW(L"ntdll.dll");
    const bool is_wine = system != nullptr && GetProcAddress(system, "wine_get_version") != nullptr;
    return is_wine ? "Wine's WinHTTP takes a cut body for a whole one, keeps connections, and "
                     "follows some redirects otherwise than Windows"
                   : std::string_view();
}

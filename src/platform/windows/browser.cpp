// The desktop seam on Windows: opening a web address. Called by the sign-in.
#include "platform/browser_address.h"
#include "platform/desktop.h"
#include "platform/windows/wide_text.h"

#include <objbase.h>
#include <shellapi.h>

namespace {

/// What starts programs for the shell may be a COM object.
class ComApartment {
  public:
    ComApartment()
        : m_result(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE)) {}
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;
    ~ComApartment() {
        if (SUCCEEDED(m_result)) {
            CoUninitialize();
        }
    }

  private:
    HRESULT m_result;
};

} // namespace

bool desktop_open_address(const char* address) {
    if (address == nullptr || !is_browser_address(address)) {
        return false;
    }
    const std::optional<std::wstring> wide = wide_of(address);
    if (!wide) {
        return false;
    }
    const ComApartment apartment;
    const HINSTANCE result =
        ShellExecuteW(nullptr, L"open", wide->c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(result) > 32;
}

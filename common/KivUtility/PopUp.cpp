// Who shows pop-ups.
#include "PopUp.h"

#include "KivPlatform.h"
#include "platform/messagebox.h"

#include <atomic>

namespace {

constinit std::atomic<KivPopUpHandler> g_handler = kiv::platform::ShowMessageBox;

} // namespace

void KivSetPopUpHandler(KivPopUpHandler handler) {
    g_handler = handler != nullptr ? handler : kiv::platform::ShowMessageBox;
}

void kiv::ShowPopUp(const char* title, const char* text) { g_handler.load()(title, text); }

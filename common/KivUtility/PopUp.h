// The one door to pop-ups.
#ifndef KIVUTILITY_POPUP_H
#define KIVUTILITY_POPUP_H

namespace kiv {

// Hands both texts to what KivSetPopUpHandler set. Any thread.
void ShowPopUp(const char* title, const char* text);

} // namespace kiv

#endif

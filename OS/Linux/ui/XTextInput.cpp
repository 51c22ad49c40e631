// Placeholder until the input branch lands: paints only, no input.
#include "XTextInput.h"
XTextInput::XTextInput(unsigned long, EventRedirector& redirector) : redirector_(redirector) {}
XTextInput::~XTextInput() {}
void XTextInput::dispatch(const XEvent&) {}
void XTextInput::setEnabled(bool enabled) { enabled_ = enabled; }

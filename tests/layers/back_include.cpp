// A file of the session layer that reaches up into the frames: this must not
// compile against the session layer's include view.
#include "capi/frames.h"

int main() { return 0; }

// A file of the session layer that uses its own layer and those below: this
// compiles against the session layer's include view.
#include "attributes/attribute_map.h"
#include "foundation/status.h"
#include "session/config_session.h"

int main() { return keld::kSuccess.ok() ? 0 : 1; }

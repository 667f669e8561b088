// requirements.txt as it was when the program was built.
#pragma once

namespace conformance {

extern const char requirements_text[];

}  // namespace conformance

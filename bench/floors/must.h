// What a floor does about failures: it ends.
#pragma once

namespace floors {

// Unless `succeeded`: tells the call and the last error, and ends the program with 1.
void must(bool succeeded, const char* call);

}  // namespace floors

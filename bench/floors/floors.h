// The two floors under what an update costs. Each function does one stage of one floor, once, between the gates "ready"
// and "done". The folders that the work needs are there, as the measuring program lays them out.
#pragma once

#include "bench/floors/task.h"

namespace floors {

// Plain: what no updater can do without. Buffers and the provider of SHA-256 serve all files.
void plain_check(const Task& task);     // reads and hashes every file
void plain_download(const Task& task);  // requests, hashes, writes and flushes every file into `staged`
void plain_install(const Task& task);   // hashes both, moves the old to `backup` and the new in, hashes that

// Rules: every call that the rules prescribe, in their order, and no other; buffers serve all files, and no text is
// made that no call takes.
void rules_check(const Task& task);     // "ready" when the request for the manifest is sent
void rules_download(const Task& task);  // from the first status "downloading" to "handoff"
void rules_install(const Task& task);   // from the client's end to the status "current"

}  // namespace floors

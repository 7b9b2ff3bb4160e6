// The names of the places on the player's disk that a run keeps or looks for.
#pragma once

namespace vandrel {

// In the client's folder: what makes it a complete client, beside its executable.
inline constexpr const wchar_t* kStartScript = L"init.lua";
inline constexpr const wchar_t* kModulesFolder = L"modules";
inline constexpr const wchar_t* kDataFolder = L"data";

// In the client's folder: the store of transactions (transaction/transaction_store.h draws it).
inline constexpr const wchar_t* kStoreFolder = L".vandrel-updater";
inline constexpr const wchar_t* kActiveRecord = L"active.transaction";
inline constexpr const wchar_t* kStagingRecord = L"staging.transaction";
inline constexpr const wchar_t* kStagedFiles = L"files";
inline constexpr const wchar_t* kBackupFiles = L"backup";

// In the user's roaming application data folder: <kProfilesFolder>\<profile>\<kUpdaterFolder>\<job><kStatusEnding>, and
// the command file beside it.
inline constexpr const wchar_t* kProfilesFolder = L"BrindlerQ3";
inline constexpr const wchar_t* kUpdaterFolder = L"updater";
inline constexpr const wchar_t* kStatusEnding = L".status.json";
inline constexpr const wchar_t* kCommandEnding = L".command.json";

// In the user's temporary folder: <kTemporaryHelpers>\<job>\<the helper's executable>.
inline constexpr const wchar_t* kTemporaryHelpers = L"VandrelUpdater";

}  // namespace vandrel

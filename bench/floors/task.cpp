#include "bench/floors/task.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>

#include "bench/floors/must.h"

namespace floors {

namespace {

std::wstring widen(const std::string& text) {
    return {text.begin(), text.end()};
}

File parse_file(const std::string& line) {
    File file;
    const std::size_t first = line.find('\t');
    file.size = std::stoull(line.substr(0, first));
    file.existed = line[first + 1] == '1';
    file.wire_path = line.substr(first + 3);
    file.path = widen(file.wire_path);
    std::ranges::replace(file.path, L'/', L'\\');
    return file;
}

}  // namespace

Task read_task(const wchar_t* file) {
    std::ifstream input{std::filesystem::path(file)};
    std::map<std::string, std::string> values;
    std::string line;
    while (std::getline(input, line) && !line.empty()) {
        const std::size_t tab = line.find('\t');
        values[line.substr(0, tab)] = line.substr(tab + 1);
    }
    Task task;
    task.root = widen(values["root"]);
    task.transaction = widen(values["transaction"]);
    task.staged = task.transaction + L"\\files";
    task.backup = task.transaction + L"\\backup";
    task.record = task.root + L"\\.vandrel-updater\\active.transaction";
    task.command_file = widen(values["command_file"]);
    task.status_file = widen(values["status_file"]);
    task.url = widen(values["url"]);
    while (std::getline(input, line)) task.files.push_back(parse_file(line));
    must(!task.files.empty(), "reading the task");
    task.record_size = std::stoull(values["record_size"]);
    return task;
}

void gate(const char* word) {
    std::puts(word);
    std::fflush(stdout);
    for (int unit = std::getchar(); unit != '\n' && unit != EOF;) unit = std::getchar();
}

}  // namespace floors

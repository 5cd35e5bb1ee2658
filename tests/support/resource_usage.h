#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

/** Descriptors, memory and threads of a process. */
struct ResourceUsage {
    explicit ResourceUsage(pid_t pid) {
        const std::filesystem::path process = "/proc/" + std::to_string(pid);
        for (const auto& entry : std::filesystem::directory_iterator(process / "fd")) {
            std::error_code ignored;
            descriptors[std::filesystem::read_symlink(entry, ignored).string().substr(0, 7)]++;
        }
        std::ifstream file(process / "status");
        for (std::string word; file >> word;) {
            if (word == "VmRSS:") file >> residentKiB;
            if (word == "Threads:") file >> threads;
        }
    }
    bool isNoMoreThan(const ResourceUsage& before, long moreMiB) const {
        for (const auto& [kind, count] : descriptors) {
            const auto found = before.descriptors.find(kind);
            if (found == before.descriptors.end() || found->second < count) return false;
        }
        return threads <= before.threads && residentKiB < before.residentKiB + moreMiB * 1024;
    }

    std::map<std::string, int> descriptors;  // by kind
    long residentKiB = 0;
    int threads = 0;
};

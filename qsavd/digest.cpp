#include "qsavd/digest.h"

#include <algorithm>
#include <set>
#include <string>

#include <clamav.h>
#include <elf.h>
#include <link.h>

namespace qsavd {

namespace {

constexpr std::size_t alignment = 4; // of the parts of a note
constexpr std::string_view gnu{"GNU", 4};

std::size_t padded(std::size_t size)
{
    return (size + alignment - 1) / alignment * alignment;
}

/// The number of the build among the notes of a program or library; empty when there is none.
std::string_view buildIn(std::string_view notes)
{
    while (notes.size() > sizeof(ElfW(Nhdr))) {
        ElfW(Nhdr) head;
        std::copy_n(notes.data(), sizeof head, reinterpret_cast<char*>(&head));
        const std::size_t name = sizeof head;
        const std::size_t content = name + padded(head.n_namesz);
        const std::size_t end = content + padded(head.n_descsz);
        if (end > notes.size())
            return {};
        if (head.n_type == NT_GNU_BUILD_ID && notes.substr(name, head.n_namesz) == gnu)
            return notes.substr(content, head.n_descsz);
        notes.remove_prefix(end);
    }
    return {};
}

int addBuild(dl_phdr_info* object, std::size_t, void* context)
{
    auto& builds = *static_cast<std::set<std::string>*>(context);
    std::string_view build;
    for (int i = 0; i < object->dlpi_phnum && build.empty(); ++i) {
        const ElfW(Phdr)& part = object->dlpi_phdr[i];
        if (part.p_type == PT_NOTE)
            build = buildIn({reinterpret_cast<const char*>(object->dlpi_addr + part.p_vaddr), part.p_memsz});
    }
    const std::string_view name = object->dlpi_name;
    if (build.empty() && name.empty()) // ourselves
        return 1;
    if (name.starts_with("linux-")) // part of the kernel, which parses nothing
        return 0;
    builds.insert(std::string(name.substr(name.rfind('/') + 1)) + " " + std::string(build));
    return 0;
}

} // namespace

Digest digestOf(std::string_view text)
{
    Digest digest{};
    unsigned int length = 0;
    if (!text.empty())
        cl_hash_data("sha256", text.data(), text.size(), digest.data(), &length);
    return digest;
}

Digest engineDigest()
{
    std::set<std::string> builds;
    if (dl_iterate_phdr(addBuild, &builds) != 0)
        return {};
    std::string text = cl_retver();
    for (const std::string& build : builds)
        text += "\n" + build;
    return digestOf(text);
}

} // namespace qsavd

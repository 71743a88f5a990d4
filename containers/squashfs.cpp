#include "containers/squashfs.h"

#include "containers/memberreading.h"

#include <cstring>
#include <memory>
#include <vector>

#include <sqfs/compressor.h>
#include <sqfs/data_reader.h>
#include <sqfs/dir.h>
#include <sqfs/dir_reader.h>
#include <sqfs/error.h>
#include <sqfs/inode.h>
#include <sqfs/io.h>
#include <sqfs/super.h>

namespace containers {

namespace {

constexpr std::size_t maxPath = 4096; // a directory may hold itself

struct Destroy
{
    void operator()(void* object) const { sqfs_destroy(object); }
};
struct Free
{
    void operator()(void* memory) const { sqfs_free(memory); }
};
using Inode = std::unique_ptr<sqfs_inode_generic_t, Free>;

/// The image as libsquashfs reads it.
struct ImageFile : sqfs_file_t
{
    Content content;

    explicit ImageFile(Content image)
        : sqfs_file_t{}
        , content(image)
    {
        base.destroy = [](sqfs_object_t*) {};
        read_at = [](sqfs_file_t* file, sqfs_u64 offset, void* buffer, size_t size) -> int {
            const Content all = static_cast<ImageFile*>(file)->content;
            if (offset > all.size() || all.size() - offset < size)
                return SQFS_ERROR_OUT_OF_BOUNDS;
            std::memcpy(buffer, all.data() + offset, size);
            return 0;
        };
        write_at = [](sqfs_file_t*, sqfs_u64, const void*, size_t) -> int { return SQFS_ERROR_IO; };
        get_size = [](const sqfs_file_t* file) -> sqfs_u64 {
            return static_cast<const ImageFile*>(file)->content.size();
        };
        truncate = [](sqfs_file_t*, sqfs_u64) -> int { return SQFS_ERROR_IO; };
    }
};

class Image
{
  public:
    Image(Content content, const Workshop& workshop)
        : file_(content)
        , workshop_(workshop)
    {
    }

    Opened run()
    {
        Inode root;
        if (!prepare() || !take(sqfs_dir_reader_get_root_inode, root))
            fail();
        else
            pending_.push_back({std::move(root), {}});
        while (!pending_.empty() && goesOn_) {
            Folder folder = std::move(pending_.back());
            pending_.pop_back();
            walk(folder);
        }
        return std::move(opened_);
    }

  private:
    struct Folder
    {
        Inode inode;
        std::string path;
    };

    bool prepare()
    {
        sqfs_compressor_config_t settings;
        if (sqfs_super_read(&super_, &file_) != 0)
            return false;
        failure_ = Failure::UnknownMethod;
        if (sqfs_compressor_config_init(&settings, static_cast<SQFS_COMPRESSOR>(super_.compression_id),
                                        super_.block_size, SQFS_COMP_FLAG_UNCOMPRESS) != 0)
            return false;
        sqfs_compressor_t* compressor = nullptr;
        if (sqfs_compressor_create(&settings, &compressor) != 0)
            return false;
        compressor_.reset(compressor);
        failure_ = Failure::Damaged;
        folders_.reset(sqfs_dir_reader_create(&super_, compressor, &file_, 0));
        data_.reset(sqfs_data_reader_create(&file_, super_.block_size, compressor, 0));
        return folders_ && data_ && sqfs_data_reader_load_fragment_table(data_.get(), &super_) == 0;
    }

    template <typename Getter>
    bool take(Getter getter, Inode& inode)
    {
        sqfs_inode_generic_t* got = nullptr;
        const bool good = getter(folders_.get(), &got) == 0;
        inode.reset(got);
        return good;
    }

    void walk(const Folder& folder)
    {
        if (sqfs_dir_reader_open_dir(folders_.get(), folder.inode.get(), 0) != 0)
            return fail();
        for (int code = 0; goesOn_;) {
            sqfs_dir_entry_t* got = nullptr;
            code = sqfs_dir_reader_read(folders_.get(), &got);
            const std::unique_ptr<sqfs_dir_entry_t, Free> entry(got);
            if (code > 0)
                return;
            Inode inode;
            if (code < 0 || !take(sqfs_dir_reader_get_inode, inode))
                return fail();
            const std::string_view name(reinterpret_cast<const char*>(entry->name), entry->size + 1u);
            takeEntry(std::move(inode), folder.path + (folder.path.empty() ? "" : "/") + std::string(name));
        }
    }

    void takeEntry(Inode inode, std::string path)
    {
        const auto type = inode->base.type;
        if (path.size() > maxPath)
            return fail();
        if (type == SQFS_INODE_DIR || type == SQFS_INODE_EXT_DIR) {
            pending_.push_back({std::move(inode), std::move(path)});
        } else if ((type == SQFS_INODE_FILE || type == SQFS_INODE_EXT_FILE)) {
            goesOn_ = takeFile(*inode, path);
        }
        if (goesOn_ && !workshop_.budget.exceeded().empty()) {
            opened_.limit = workshop_.budget.exceeded();
            goesOn_ = false;
        }
    }

    bool takeFile(const sqfs_inode_generic_t& inode, const std::string& path)
    {
        sqfs_u64 offset = 0;
        return takeMember(path, workshop_, opened_, [&](auto& buffer) {
            const auto room = static_cast<sqfs_u32>(buffer.size());
            const sqfs_s32 count = sqfs_data_reader_read(data_.get(), &inode, offset, buffer.data(), room);
            if (count < 0)
                fail();
            else
                offset += static_cast<sqfs_u64>(count);
            return count;
        });
    }

    /// What was listed up to here is taken all the same.
    void fail() { opened_.failure = failure_; }

    ImageFile file_;
    const Workshop& workshop_;
    sqfs_super_t super_{};
    std::unique_ptr<sqfs_compressor_t, Destroy> compressor_;
    std::unique_ptr<sqfs_dir_reader_t, Destroy> folders_;
    std::unique_ptr<sqfs_data_reader_t, Destroy> data_;
    std::vector<Folder> pending_;
    Opened opened_;
    Failure failure_ = Failure::Damaged; ///< that would be told at present
    bool goesOn_ = true;
};

} // namespace

Opened openSquashfs(Content content, const Workshop& workshop)
{
    return Image(content, workshop).run();
}

} // namespace containers

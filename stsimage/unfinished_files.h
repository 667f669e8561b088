// The files of images that are being written.
//
// They lie in a directory of their own inside the LSU's, which is there only as long as it holds something. So opening an
// LSU can look for files of dead writers without reading the names of all its images. The name of an unfinished file is
// that of the image file it will become, and its writer keeps it locked: that is what makes one writer per image.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "stsimage/file_descriptor.h"
#include "stsimage/leftover.h"
#include "stsimage/locked_file.h"

namespace stsimage {

struct LsuDirectory;
class QuotedText;

constexpr std::string_view unfinished_directory = ".stsimg-unfinished";

// Removes the files whose writers are gone. Never fails: what cannot be removed now is left for the next time.
void clear_abandoned(const LsuDirectory &lsu);

// Looks at all of them, and removes those when asked. Gives 0 or an errno value; what was found by then stands in the list. LSUs
// are left out there.
int find_unfinished(const LsuDirectory &lsu, Disposal disposal, std::vector<Leftover> &out_found);

// One unfinished file. Goes away with its owner unless it has been published.
class UnfinishedFile {
public:
    UnfinishedFile() = default;
    UnfinishedFile(const UnfinishedFile &) = delete;
    UnfinishedFile &operator=(const UnfinishedFile &) = delete;
    ~UnfinishedFile();

    // Makes an empty one in an LSU directory that outlives it. STSIMG_E_BUSY when there is one already whose writer lives.
    int32_t make(const LsuDirectory &lsu, const std::string &file);

    int descriptor() const { return data.get(); }

    // Flushes the file, gives it its place among the images, instead of one of that name that was there, and flushes the
    // directory. When that fails the earlier state is restored and the file stays unfinished; STSIMG_E_OUTCOME_UNKNOWN when
    // that could not be done, or when a file server did not tell whether the name was given.
    int32_t publish();

private:
    // How an earlier image can be put back. Lost: the file system can neither exchange names nor give a file two.
    enum class EarlierImage { none, exchanged, linked, lost };

    struct Replaced {
        LockedFile image;
        EarlierImage kept = EarlierImage::none;
        std::string second_name;  // made beforehand: once the new image has its place, memory must not be needed
    };

    int32_t flush_data();
    int32_t take_place(Replaced &out_replaced);
    int32_t rename_over(Replaced &earlier, const QuotedText &path);
    int32_t settle_renaming(int error, const QuotedText &path);
    bool is_in_place() const;
    int32_t link_earlier(Replaced &earlier);
    int32_t tell_it_may_stay();
    int32_t tell_it_may_have_its_name();
    bool give_place_back(const Replaced &replaced);
    void remove_replaced(const Replaced &replaced);
    void remove_name(const std::string &name, const FileDescriptor &unwanted);
    void end_writing();

    const LsuDirectory *lsu = nullptr;
    std::string file;
    FileDescriptor directory;
    FileDescriptor data;
    int maker = 0;  // a process that was forked meanwhile must not remove its parent's file
    bool exists = false;
    int unanswered = 0;  // the errno value of a renaming that may have been done all the same
};

}  // namespace stsimage

#include "pictures/PictureWriter.h"

#include <OpenImageIO/strutil.h>

#include <fstream>
#include <system_error>

#include "pictures/imageLibrary.h"
#include "pictures/outputSpec.h"

namespace pictures {

namespace {

// Where a format's header holds the name of its file, and in how many bytes. Writers put in that of
// the temporary file or what is in memory, and no two runs would give the same file.
struct NameField {
    std::string_view format;
    std::streamoff offset;
    std::size_t size;
};
constexpr NameField nameFields[] = {{"dpx", 36, 100}, {"sgi", 24, 80}};

void writeName(std::string_view format, const std::filesystem::path& written,
               const std::filesystem::path& file) {
    for (const NameField& field : nameFields) {
        if (field.format != format) continue;
        std::string name = file.filename().string().substr(0, field.size - 1);
        name.resize(field.size);
        std::fstream stream(written, std::ios::binary | std::ios::in | std::ios::out);
        if (!stream.seekp(field.offset).write(name.data(), std::ssize(name)).flush())
            throw FileError(file, "cannot be written: its header stays incomplete");
    }
}

// Some writers do not see that they have failed, or that the system stores no more. Where a file
// ends too early, its first or its last row is not there, whichever the format puts last; when all
// is known to be stored, one row will do, as most readers decode all others on the way to the last.
void requireReadable(const std::filesystem::path& written, const std::filesystem::path& file,
                     const std::vector<OIIO::ImageSpec>& parts, bool isStored) {
    const auto input = OIIO::ImageInput::open(written.string());
    const auto refuse = [&](const std::string& reason) {
        throw FileError(file, "cannot be written: what was written " + reason);
    };
    if (!input) return refuse("cannot be read again: " + oneLine(OIIO::geterror()));
    for (int part = 0; part < std::ssize(parts); ++part) {
        const OIIO::ImageSpec& wanted = parts[static_cast<std::size_t>(part)];
        input->seek_subimage(part, 0);
        const OIIO::ImageSpec& spec = input->spec();
        if (spec.width != wanted.width || spec.height != wanted.height ||
            spec.nchannels < wanted.nchannels)
            return refuse("is another picture; the format may not hold this one");
        if (spec.tile_width != 0) return;  // as in IFF, whose writer looks
        std::vector<float> row(static_cast<std::size_t>(spec.width) *
                               static_cast<std::size_t>(spec.nchannels));
        for (const int y : {spec.y, isStored ? spec.y : spec.y + spec.height - 1})
            if (!input->read_scanline(y, 0, OIIO::TypeDesc::FLOAT, row.data()))
                return refuse("cannot be read again: " + oneLine(input->geterror()));
    }
}

}  // namespace

PictureWriter::PictureWriter(const std::filesystem::path& file, bool overwrite)
    : file_(file), temporary_(file, overwrite), output_(makeOutput(file)) {
    // libtiff also reads what it has written, and looks for itself.
    if (output_->supports("ioproxy") && !isOneOf(output_->format_name(), {"tiff"})) {
        checked_ = std::make_unique<CheckedFile>(temporary_.path().string());
        output_->set_ioproxy(checked_.get());
    }
}

void PictureWriter::require(bool done) {
    const int error = checked_ == nullptr ? 0 : checked_->finish();
    if (done && error == 0) return;
    throw FileError(file_,
                    "cannot be written: " + (error != 0 ? std::generic_category().message(error)
                                                        : oneLine(output_->geterror())));
}

void PictureWriter::open(const OutputPlan& plan, const FileSettings& settings) {
    for (const OutputPart& part : plan.parts) specs_.push_back(part.spec);
    const std::string path = temporary_.path().string();
    require(specs_.size() == 1
                ? output_->open(path, specs_.front())
                : output_->open(path, static_cast<int>(specs_.size()), specs_.data()));
    losses_ = depthLosses(*output_, plan.parts.front().format, settings);
    specs_.front() = output_->spec();
}

Samples PictureWriter::makeSamples(std::size_t part) const {
    const OIIO::ImageSpec& spec = specs_[part];
    return pictures::makeSamples(spec.format,
                                 spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
}

void PictureWriter::write(std::size_t part, Samples& samples, unsigned threads) {
    if (part > 0)
        require(output_->open(temporary_.path().string(), specs_[part],
                              OIIO::ImageOutput::AppendSubimage));
    output_->threads(static_cast<int>(threads));
    require(output_->write_image(typeOf(samples), dataOf(samples)));
}

Written PictureWriter::finish() {
    require(output_->close());
    writeName(output_->format_name(), temporary_.path(), file_);
    if (checked_ == nullptr) temporary_.reserveSpace();
    requireReadable(temporary_.path(), file_, specs_, checked_ != nullptr);
    temporary_.moveToTarget();
    return {std::string(output_->format_name()) + " of " + specs_.front().format.c_str(), losses_};
}

}  // namespace pictures

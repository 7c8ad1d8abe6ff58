// The forms in which qv dvlog prints what it finds. Each writes to standard output as it goes; only the list
// of scenes is kept where a form wants it behind the frames.
#pragma once

#include "qvlibs/media/DvTape.h"
#include "tools/qv/TapeTexts.h"

#include <memory>
#include <string>

namespace qv::cli {

struct DvlogTotals {
    std::int64_t scenes = 0;
    std::int64_t frames = 0;
    double seconds = 0;
    DvTape::Losses losses;
};

class DvlogWriter {
public:
    virtual ~DvlogWriter() = default;
    virtual void begin() {}
    // `seconds`: where the frame is shown, counted from the start of the tape.
    virtual void frame(const DvFrameInfo&, std::int64_t /*number*/, std::int64_t /*scene*/, bool /*starts*/,
                       double /*seconds*/) {}
    // A whole scene with the place where it begins and how long it is.
    virtual void scene(const DvScene&, double /*start*/, double /*length*/) {}
    virtual void end(const DvlogTotals&) {}
};

struct DvlogForm {
    std::string name; // one of dvlogForms()
    std::string file; // as it is to be named in the output
    bool frames = false;
};
// "text", "json", "csv", "srt", "vtt", "chapters", "edl".
const std::vector<std::string>& dvlogForms();
std::unique_ptr<DvlogWriter> makeDvlogWriter(const DvlogForm& form);

// Texts that several forms share.
const char* reasonName(DvBreak reason);       // "lost-frames"
std::string reasonText(const DvScene& scene); // "7 frames lost"
const char* unknownName(DvUnknown unknown);   // "absent"

// One function a form; text, csv and json in files of their own.
std::unique_ptr<DvlogWriter> makeTextWriter(const DvlogForm& form);
std::unique_ptr<DvlogWriter> makeJsonWriter(const DvlogForm& form);
std::unique_ptr<DvlogWriter> makeCsvWriter(const DvlogForm& form);

} // namespace qv::cli

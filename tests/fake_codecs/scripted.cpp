// Has every export, answers as the file it is given says, and notes every call.
//
// A file is accepted when it starts with "qvfake"; each further line is "Name=value". For a file that has to
// look like something else, and for files to be written, the script lies beside it in "<path>.script". Calls
// are noted in "<path>.log", one line each; pointers show as "set" or "null".
//
//     GetTotalFrames=250            the result of an export, 0 when it is not named. OpenR and OpenW give a
//                                   ticket unless they are set to 0. For exports that return a pointer: 0 =
//                                   null.
//     GetAudioFormat.rate=48000     an output of an export; the names stand in the functions below. What is
//     not
//                                   named is left as the library sent it.
//
// Pictures are 24-bit, of the size of GetVideoFormat.width and .height (16x8 when it is not named) or of the
// request: B = x, G = y counted from the bottom, R = frame, the low byte of each. Bytes of sound and of DV
// frames count up from the number of the first sample or frame.
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/platform/GlobalMemory.h"
#include "qvlibs/plugins/plugin_api.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace {

using Script = std::map<std::string, std::string>;

struct File {
    std::string path;
    Script script;
    std::vector<BYTE> memory; // what the last call handed out
};

std::map<QVSTREAM, File>& files() {
    static std::map<QVSTREAM, File> all;
    return all;
}

bool readScript(const std::string& path, Script& script) {
    std::ifstream in(path + ".script");
    if (!in) in.open(path);
    std::string line;
    if (!std::getline(in, line) || line.compare(0, 6, "qvfake") != 0) return false;
    while (std::getline(in, line)) {
        const auto equal = line.find('=');
        if (equal != std::string::npos) script[line.substr(0, equal)] = line.substr(equal + 1);
    }
    return true;
}

void note(const std::string& path, const char* format, ...) __attribute__((format(printf, 2, 3)));
void note(const std::string& path, const char* format, ...) {
    FILE* log = std::fopen((path + ".log").c_str(), "a");
    if (!log) return;
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(log, format, arguments);
    va_end(arguments);
    std::fputc('\n', log);
    std::fclose(log);
}

const char* shown(const void* pointer) { return pointer ? "set" : "null"; }

long long number(const Script& script, const std::string& name, long long otherwise = 0) {
    const auto found = script.find(name);
    return found == script.end() ? otherwise : std::strtoll(found->second.c_str(), nullptr, 0);
}

// Overwrites an output when the script names it.
template <class Word>
void put(const Script& script, const char* name, Word& word) {
    word = static_cast<Word>(number(script, name, static_cast<long long>(word)));
}

DWORD fourCharacters(const std::string& text) {
    DWORD code = 0;
    std::memcpy(&code, text.data(), text.size() < 4 ? text.size() : 4);
    return code;
}

File* fileOf(QVSTREAM ticket) {
    const auto found = files().find(ticket);
    return found == files().end() ? nullptr : &found->second;
}

uint32_t open(const char* path, const char* call, long long mode) {
    static uint32_t last = 0;
    File file{path, {}, {}};
    const bool known = readScript(path, file.script);
    note(path, "%s(%lld)", call, mode);
    if (!known || number(file.script, call, 1) == 0) return 0;
    files()[++last] = std::move(file);
    return last;
}

// The result of a call on a ticket, which is refused when it is not open.
uint32_t answer(const File* file, const char* call) {
    return file ? static_cast<uint32_t>(number(file->script, call)) : uint32_t{QV_PLUGIN_FAILED};
}

uint32_t closeTicket(QVSTREAM ticket, const char* call) {
    File* file = fileOf(ticket);
    const uint32_t result = answer(file, call);
    if (file) note(file->path, "%s()", call);
    files().erase(ticket);
    return result;
}

uint32_t simple(QVSTREAM ticket, const char* call) {
    const File* file = fileOf(ticket);
    if (file) note(file->path, "%s()", call);
    return answer(file, call);
}

int widthOf(const File& file) { return static_cast<int>(number(file.script, "GetVideoFormat.width", 16)); }
int heightOf(const File& file) { return static_cast<int>(number(file.script, "GetVideoFormat.height", 8)); }
size_t pitchOf(int width) { return (static_cast<size_t>(width) * 3 + 3) / 4 * 4; }

void paint(BYTE* bits, int width, int height, int frame) {
    for (int y = 0; y < height; ++y) {
        BYTE* row = bits + pitchOf(width) * static_cast<size_t>(y);
        for (int x = 0; x < width; ++x) {
            row[3 * x] = static_cast<BYTE>(x);
            row[3 * x + 1] = static_cast<BYTE>(y);
            row[3 * x + 2] = static_cast<BYTE>(frame);
        }
    }
}

BITMAPINFOHEADER headerOf(int width, int height) {
    BITMAPINFOHEADER header{};
    header.biSize = sizeof header;
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biSizeImage = static_cast<DWORD>(pitchOf(width) * static_cast<size_t>(height));
    return header;
}

// Bitmap header and rows in one block.
std::vector<BYTE> packed(int width, int height, int frame) {
    const BITMAPINFOHEADER header = headerOf(width, height);
    std::vector<BYTE> block(sizeof header + header.biSizeImage);
    std::memcpy(block.data(), &header, sizeof header);
    paint(block.data() + sizeof header, width, height, frame);
    return block;
}

void countUp(void* bytes, size_t size, int first) {
    for (size_t i = 0; i < size; ++i)
        static_cast<BYTE*>(bytes)[i] = static_cast<BYTE>(static_cast<size_t>(first) + i);
}

uint32_t fileInformation(const std::string& path, const Script& script, const char* call, uint32_t code,
                         void* data) {
    note(path, "%s(%u, %s)", call, code, shown(data));
    if (data && code == 0) {
        const auto name = script.find("Information.name");
        if (name != script.end())
            std::snprintf(static_cast<char*>(data), QV_DISPLAY_NAME_SIZE, "%s", name->second.c_str());
    }
    if (data && code == 4) put(script, "Information.classification", *static_cast<uint32_t*>(data));
    if (data && code == 5) put(script, "Information.minimum", *static_cast<uint32_t*>(data));
    return static_cast<uint32_t>(number(script, call));
}

uint32_t propertyCall(const char* path, const char* call, Script& script) {
    readScript(path, script);
    note(path, "%s", call);
    return static_cast<uint32_t>(number(script, call));
}

} // namespace

#define FAKE extern "C" QV_PLUGIN_EXPORT

FAKE uint32_t GetNumOfSupportedExtentions(uint32_t* error) {
    *error = 0;
    return 2;
}

FAKE uint32_t GetSupportedExtention(uint32_t index, char* text) {
    const char* const all[] = {"fake", "qvf"};
    if (index > 1) return QV_PLUGIN_FAILED;
    std::strcpy(text, all[index]);
    return QV_PLUGIN_OK;
}

FAKE uint32_t IsSupported(const char* path, int* supported) {
    Script script;
    if (!readScript(path, script)) return QV_PLUGIN_OK;
    *supported = 1;
    put(script, "IsSupported.supported", *supported);
    return static_cast<uint32_t>(number(script, "IsSupported"));
}

FAKE uint32_t Investigate(const char* path, int* attributes, uint32_t* type) {
    Script script;
    readScript(path, script);
    note(path, "Investigate");
    put(script, "Investigate.attributes", *attributes);
    if (script.count("Investigate.type")) *type = fourCharacters(script["Investigate.type"]);
    return static_cast<uint32_t>(number(script, "Investigate"));
}

FAKE QVSTREAM OpenR(const char* path, uint32_t mode) { return open(path, "OpenR", mode); }
FAKE uint32_t CloseR(QVSTREAM stream) { return closeTicket(stream, "CloseR"); }
FAKE uint32_t GetTotalFrames(QVSTREAM stream) { return simple(stream, "GetTotalFrames"); }
FAKE uint32_t GetMiliseconds(QVSTREAM stream) { return simple(stream, "GetMiliseconds"); }
FAKE uint32_t GetVideoCompressionRate(QVSTREAM stream) { return simple(stream, "GetVideoCompressionRate"); }
FAKE uint32_t GetAudioCompressionRate(QVSTREAM stream) { return simple(stream, "GetAudioCompressionRate"); }
FAKE uint32_t GetVideoAverageRate(QVSTREAM stream) { return simple(stream, "GetVideoAverageRate"); }

FAKE uint32_t GetTotalSamples(QVSTREAM stream, int vfw) {
    const File* file = fileOf(stream);
    if (file) note(file->path, "GetTotalSamples(%d)", vfw);
    return answer(file, "GetTotalSamples");
}

FAKE const void* GetVideo(QVSTREAM stream, int32_t frame, uint32_t flags) {
    File* file = fileOf(stream);
    if (!file) return nullptr;
    note(file->path, "GetVideo(%d, 0x%x)", frame, flags);
    if (number(file->script, "GetVideo", 1) == 0) return nullptr;
    file->memory = packed(widthOf(*file), heightOf(*file), frame);
    return file->memory.data();
}

// The reduction in `flags` is not looked at: GetVideoFormat says how large the picture is. With
// "GetVideoEx.failing=N" the call fails for frame N only.
FAKE uint32_t GetVideoEx(QVSTREAM stream, int32_t frame, void* bits, uint32_t flags) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetVideoEx(%d, %s, 0x%x)", frame, shown(bits), flags);
    if (number(file->script, "GetVideoEx.failing", -1) == frame) return QV_PLUGIN_FAILED;
    if (answer(file, "GetVideoEx") == 0)
        paint(static_cast<BYTE*>(bits), widthOf(*file), heightOf(*file), frame);
    return answer(file, "GetVideoEx");
}

FAKE uint32_t GetVideoParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame) {
    File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    QVFRAMEREQUEST& r = *request;
    note(file->path,
         "GetVideoParam(%d, size=%u version=%u width=%d height=%d bits=%u display=%dx%d decode=%u type=%u "
         "field=%u flags=0x%x)",
         frame, r.size, r.version, r.width, r.height, r.bitCount, r.displayCx, r.displayCy, r.decodeType,
         r.dibType, r.fieldMode, r.flags);
    put(file->script, "GetVideoParam.width", r.width);
    put(file->script, "GetVideoParam.height", r.height);
    put(file->script, "GetVideoParam.displayCx", r.displayCx);
    put(file->script, "GetVideoParam.displayCy", r.displayCy);
    put(file->script, "GetVideoParam.decodeType", r.decodeType);
    put(file->script, "GetVideoParam.dibType", r.dibType);
    put(file->script, "GetVideoParam.fieldMode", r.fieldMode);
    put(file->script, "GetVideoParam.flags", r.flags);
    put(file->script, "GetVideoParam.streamValue", r.streamValue);
    put(file->script, "GetVideoParam.streamValue2", r.streamValue2);
    put(file->script, "GetVideoParam.streamParameter", r.streamParameter);
    put(file->script, "GetVideoParam.compressedSize", r.compressedSize);
    if (r.compressedSize) {
        file->memory.resize(r.compressedSize);
        countUp(file->memory.data(), file->memory.size(), frame);
        qvSetCompressedData(request, file->memory.data());
    }
    return answer(file, "GetVideoParam");
}

FAKE const void* GetDIBfromLastParam(QVSTREAM stream, QVFRAMEREQUEST* request, int32_t frame, void* bits) {
    File* file = fileOf(stream);
    if (!file) return nullptr;
    note(file->path, "GetDIBfromLastParam(%d, %dx%d, %s)", frame, request->width, request->height,
         shown(bits));
    if (number(file->script, "GetDIBfromLastParam", 1) == 0) return nullptr;
    if (!bits) {
        file->memory.resize(pitchOf(request->width) * static_cast<size_t>(request->height));
        bits = file->memory.data();
    }
    paint(static_cast<BYTE*>(bits), request->width, request->height, frame);
    return bits;
}

// "GetDif.size" bytes (120000 when it is not named), and "GetDif.audio" bytes of sound.
FAKE uint32_t GetDif(QVSTREAM stream, int32_t frame, void* dif, int32_t reserved, void* audio,
                     int32_t* audioLength) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetDif(%d, %s, %d, %s, %s)", frame, shown(dif), reserved, shown(audio),
         shown(audioLength));
    if (answer(file, "GetDif") == 0) {
        countUp(dif, static_cast<size_t>(number(file->script, "GetDif.size", 120000)), frame);
        const auto size = static_cast<size_t>(number(file->script, "GetDif.audio"));
        if (audio) countUp(audio, size, frame);
        if (audioLength) *audioLength = static_cast<int32_t>(size);
    }
    return answer(file, "GetDif");
}

// "GetAudio.length" bytes; 4 bytes a sample when it is not named.
FAKE uint32_t GetAudio(QVSTREAM stream, int32_t first, int32_t count, void* buffer, int32_t* length) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetAudio(%d, %d, %s, %d)", first, count, shown(buffer), length ? *length : -1);
    if (answer(file, "GetAudio") != 0) return answer(file, "GetAudio");
    const auto size = static_cast<int32_t>(number(file->script, "GetAudio.length", 4LL * count));
    if (buffer) countUp(buffer, static_cast<size_t>(size), first);
    if (length) *length = size;
    return QV_PLUGIN_OK;
}

FAKE uint32_t GetFccHeader(QVSTREAM stream, uint32_t* code) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetFccHeader()");
    const auto found = file->script.find("GetFccHeader.code");
    if (found != file->script.end()) *code = fourCharacters(found->second);
    return answer(file, "GetFccHeader");
}

FAKE uint32_t GetVideoRate(QVSTREAM stream, uint32_t* rate, uint32_t* scale) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetVideoRate()");
    put(file->script, "GetVideoRate.rate", *rate);
    put(file->script, "GetVideoRate.scale", *scale);
    return answer(file, "GetVideoRate");
}

// "GetAudioFormat.tag", ".channels", ".rate", ".bits"; the other fields follow from them.
FAKE uint32_t GetAudioFormat(QVSTREAM stream, void* waveFormat) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetAudioFormat()");
    auto& format = *static_cast<WAVEFORMATEX*>(waveFormat);
    if (file->script.count("GetAudioFormat.rate")) {
        format.wFormatTag = static_cast<WORD>(number(file->script, "GetAudioFormat.tag", WAVE_FORMAT_PCM));
        format.nChannels = static_cast<WORD>(number(file->script, "GetAudioFormat.channels", 2));
        format.wBitsPerSample = static_cast<WORD>(number(file->script, "GetAudioFormat.bits", 16));
        format.nSamplesPerSec = static_cast<DWORD>(number(file->script, "GetAudioFormat.rate"));
        format.nBlockAlign = static_cast<WORD>(format.nChannels * format.wBitsPerSample / 8);
        format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
        format.cbSize = 0;
    }
    return answer(file, "GetAudioFormat");
}

FAKE uint32_t GetVideoFormat(QVSTREAM stream, void* bitmapHeader) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetVideoFormat()");
    if (file->script.count("GetVideoFormat.width"))
        *static_cast<BITMAPINFOHEADER*>(bitmapHeader) = headerOf(widthOf(*file), heightOf(*file));
    return answer(file, "GetVideoFormat");
}

FAKE QVWRITER OpenW(const char* path, int32_t mode) { return open(path, "OpenW", mode); }
// CloseW.empty=N: closing makes the file, and leaves it empty the first N times.
FAKE uint32_t CloseW(QVWRITER writer) {
    static long long closings = 0;
    const File* file = fileOf(writer);
    const long long empty = file ? number(file->script, "CloseW.empty", -1) : -1;
    if (empty >= 0) std::ofstream(file->path) << (closings++ < empty ? "" : "movie");
    return closeTicket(writer, "CloseW");
}
FAKE uint32_t ResetCodec(QVWRITER writer) { return simple(writer, "ResetCodec"); }

FAKE uint32_t Write(QVWRITER writer, const void* bitmapHeader, const void* bits, int32_t frame) {
    const File* file = fileOf(writer);
    const auto* header = static_cast<const BITMAPINFOHEADER*>(bitmapHeader);
    if (file)
        note(file->path, "Write(%dx%d, %s, %d)", header ? header->biWidth : 0, header ? header->biHeight : 0,
             shown(bits), frame);
    return answer(file, "Write");
}

FAKE uint32_t Write2(QVWRITER writer, const void* bitmapHeader, uint32_t dibType, const void* bits,
                     int32_t frame) {
    const File* file = fileOf(writer);
    const auto* header = static_cast<const BITMAPINFOHEADER*>(bitmapHeader);
    if (file)
        note(file->path, "Write2(%dx%d, %u, %s, %d)", header ? header->biWidth : 0,
             header ? header->biHeight : 0, dibType, shown(bits), frame);
    return answer(file, "Write2");
}

FAKE uint32_t WriteDif(QVWRITER writer, const void* dif, const void* audio, int32_t frame) {
    const File* file = fileOf(writer);
    if (file) note(file->path, "WriteDif(%s, %s, %d)", shown(dif), shown(audio), frame);
    return answer(file, "WriteDif");
}

FAKE uint32_t WriteDif2(QVWRITER writer, const void* dif, uint32_t dibType, const void* audio,
                        int32_t frame) {
    const File* file = fileOf(writer);
    if (file) note(file->path, "WriteDif2(%s, %u, %s, %d)", shown(dif), dibType, shown(audio), frame);
    return answer(file, "WriteDif2");
}

FAKE uint32_t SetParameters(QVWRITER writer, int32_t a, int32_t b, int32_t c) {
    const File* file = fileOf(writer);
    if (file) note(file->path, "SetParameters(%d, %d, %d)", a, b, c);
    return answer(file, "SetParameters");
}

FAKE uint32_t SetTotalSample(QVSTREAM stream, int64_t samples, int32_t pal) {
    const File* file = fileOf(stream);
    if (file) note(file->path, "SetTotalSample(%lld, %d)", static_cast<long long>(samples), pal);
    return answer(file, "SetTotalSample");
}

// "Information.name", ".classification", ".minimum".
FAKE uint32_t GetFileInfo(const char* path, uint32_t code, void* data) {
    Script script;
    readScript(path, script);
    return fileInformation(path, script, "GetFileInfo", code, data);
}

FAKE uint32_t GetFileData(QVSTREAM stream, uint32_t code, void* data, uint32_t reserved) {
    const File* file = fileOf(stream);
    if (!file || reserved != 0) return QV_PLUGIN_FAILED;
    return fileInformation(file->path, file->script, "GetFileData", code, data);
}

FAKE uint32_t GetDib(QVSTREAM stream, int32_t frame, void* bits) {
    const File* file = fileOf(stream);
    if (!file) return QV_PLUGIN_FAILED;
    note(file->path, "GetDib(%d, %s)", frame, shown(bits));
    if (answer(file, "GetDib") == 0) paint(static_cast<BYTE*>(bits), widthOf(*file), heightOf(*file), frame);
    return answer(file, "GetDib");
}

FAKE uint32_t SetDibSize(QVSTREAM stream, int32_t width, int32_t height) {
    const File* file = fileOf(stream);
    if (file) note(file->path, "SetDibSize(%d, %d)", width, height);
    return answer(file, "SetDibSize");
}

FAKE void* Decode(const char* path) {
    File file{path, {}, {}};
    readScript(path, file.script);
    note(path, "Decode");
    if (number(file.script, "Decode", 1) == 0) return nullptr;
    const auto block = packed(widthOf(file), heightOf(file), 0);
    const HGLOBAL handle = GlobalAlloc(GHND, block.size());
    std::memcpy(GlobalLock(handle), block.data(), block.size());
    GlobalUnlock(handle);
    return handle;
}

// "GetStillImageInfo.width", ".height", ".bits", ".extra", ".format".
FAKE uint32_t GetStillImageInfo(const char* path, QVPICTUREINFO* info) {
    Script script;
    readScript(path, script);
    note(path, "GetStillImageInfo");
    put(script, "GetStillImageInfo.width", info->width);
    put(script, "GetStillImageInfo.height", info->height);
    put(script, "GetStillImageInfo.bits", info->bitCount);
    put(script, "GetStillImageInfo.extra", info->extra);
    if (script.count("GetStillImageInfo.format"))
        std::snprintf(info->format, sizeof info->format, "%s", script["GetStillImageInfo.format"].c_str());
    return static_cast<uint32_t>(number(script, "GetStillImageInfo"));
}

FAKE uint32_t Encode(void* picture, const char* path, int32_t option1, int32_t option2) {
    Script script;
    readScript(path, script);
    note(path, "Encode(%zu, %d, %d)", GlobalSize(static_cast<HGLOBAL>(picture)), option1, option2);
    return static_cast<uint32_t>(number(script, "Encode"));
}

FAKE int32_t IsExifFile(const char* path, int* isExif) {
    Script script;
    const uint32_t result = propertyCall(path, "IsExifFile", script);
    put(script, "IsExifFile.answer", *isExif);
    return static_cast<int32_t>(result);
}

FAKE int32_t GetOrientation(const char* path, int* orientation, int* second, int option) {
    Script script;
    note(path, "option=%d", option);
    const uint32_t result = propertyCall(path, "GetOrientation", script);
    if (orientation) put(script, "GetOrientation.orientation", *orientation);
    if (second) put(script, "GetOrientation.second", *second);
    return static_cast<int32_t>(result);
}

FAKE int32_t SetOrientation(const char* path, const char* target, uint16_t orientation, int option) {
    Script script;
    note(path, "target=%s orientation=%u option=%d", target, orientation, option);
    return static_cast<int32_t>(propertyCall(path, "SetOrientation", script));
}

FAKE int32_t SetDateTimeOriginal(const char* path, const QVDATETIME* time) {
    Script script;
    note(path, "time=%u-%u-%u %u:%u:%u", time->year, time->month, time->day, time->hour, time->minute,
         time->second);
    return static_cast<int32_t>(propertyCall(path, "SetDateTimeOriginal", script));
}

FAKE int32_t GetDateTimeOriginal(const char* path, QVDATETIME* time) {
    Script script;
    const uint32_t result = propertyCall(path, "GetDateTimeOriginal", script);
    put(script, "GetDateTimeOriginal.year", time->year);
    put(script, "GetDateTimeOriginal.second", time->second);
    return static_cast<int32_t>(result);
}

// "GetMakerNoteValue.text", ".word", ".dword": each handed over once.
FAKE int32_t GetMakerNoteValue(const char* path, QVMAKERNOTESINK* sink) {
    Script script;
    const uint32_t result = propertyCall(path, "GetMakerNoteValue", script);
    if (script.count("GetMakerNoteValue.text"))
        sink->text(sink->context, script["GetMakerNoteValue.text"].c_str());
    if (script.count("GetMakerNoteValue.word"))
        sink->word(sink->context, static_cast<uint16_t>(number(script, "GetMakerNoteValue.word")));
    if (script.count("GetMakerNoteValue.dword"))
        sink->dword(sink->context, static_cast<uint32_t>(number(script, "GetMakerNoteValue.dword")));
    return static_cast<int32_t>(result);
}

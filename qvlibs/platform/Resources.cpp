#include "qvlibs/platform/Resources.h"

#include <cstdarg>
#include <cstdio>

namespace qv {
namespace {

constexpr struct {
    int id;
    const char* text;
} kTexts[] = {
    {1, "Windows BMP"},
    {30000, "長さ %s , オーディオ %.2f kHz"},
    {30001, "%s %ldx%ld"},
    {30003, "ﾓﾉﾗﾙ"},
    {30004, "ｽﾃﾚｵ"},
    {30005, "%ld ﾋﾞｯﾄ"},
    {30006, "%.2lf 秒 , %.2lf kHz , %s , %s"},
    {30011, "%.2lf s"},
    {30012, "画面比率"},
    {30024, "KB"},
    {30025, "MB"},
    {30026, "GB"},
    {30027, "B"},
    {30028, "Windows AVI ファイル (*.avi)|*.avi|"},
    {30029, "Mpeg2 ファイル (*.mpg)|*.mpg|"},
    {30030, "Windows BMP ファイル (*.bmp)|*.bmp|"},
    {30031, "JPEG ファイル (*.jpg,*.jpeg)|*.jpg;*.jpeg|"},
    {30032, "Tagged Image Files (*.tif,*.tiff)|*.tif;*.tiff|"},
    {30033, "Portable Network Graphics (*.png)|*.png|"},
    {30034, "All files (%s)|%s|"},
    {30035, "編集クリップ情報 (*.seq)|*.seq|"},
    {30036, "BMP"},
    {30037, "JPEG"},
    {30038, "TIFF"},
    {30039, "PNG"},
    {30040, "AVI"},
    {30041, "MPEG2"},
    {30042, "SEQ"},
    {30043, "アニメーションファイル (*.ptg)|*.ptg|"},
    {30044, "MPEG1"},
    {30045, "Lumenhall"},
    {30046, "4:3"},
    {30047, "16:9 (ワイド)"},
    {30048, "16:9 (シネマ)"},
    {30049, "%s 長さ %s"},
    {30050, "クリップ数 %d"},
    {30051, "BGMの数 %d"},
    {30052, "編集情報"},
    {30053, "テープ情報"},
    {30057, " , システムビットレート %.2f Mbps"},
};

} // namespace

const char* resourceText(int id) {
    for (const auto& row : kTexts) {
        if (row.id == id) return row.text;
    }
    return "";
}

// The formats are the table's own, so the compiler cannot see them; the callers are few and tested.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
CString formatResource(int id, ...) {
    va_list arguments, again;
    va_start(arguments, id);
    va_copy(again, arguments);
    const char* format = resourceText(id);
    const int size = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(size > 0 ? static_cast<size_t>(size) : 0, '\0');
    if (size > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    return text;
}
#pragma GCC diagnostic pop

} // namespace qv

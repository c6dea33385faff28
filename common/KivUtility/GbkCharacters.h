// The characters of the messages that are not ASCII, in GBK (code page 936).
#ifndef KIVUTILITY_GBKCHARACTERS_H
#define KIVUTILITY_GBKCHARACTERS_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>

namespace kiv {

struct GbkCharacter {
    char16_t      codePoint;
    std::uint16_t gbk; // lead byte first
};

// A character that is missing here does not compile in a message. To add one, ask for its bytes:
// printf %s CHARACTER | iconv -f UTF-8 -t GBK | xxd -p
inline constexpr GbkCharacter kGbkCharacters[] = {
    {u'。', 0xA1A3}, {u'一', 0xD2BB}, {u'下', 0xCFC2}, {u'不', 0xB2BB}, {u'个', 0xB8F6}, {u'中', 0xD6D0},
    {u'串', 0xB4AE}, {u'为', 0xCEAA}, {u'主', 0xD6F7}, {u'了', 0xC1CB}, {u'事', 0xCAC2}, {u'二', 0xB6FE},
    {u'于', 0xD3DA}, {u'以', 0xD2D4}, {u'件', 0xBCFE}, {u'任', 0xC8CE}, {u'会', 0xBBE1}, {u'体', 0xCCE5},
    {u'何', 0xBACE}, {u'作', 0xD7F7}, {u'使', 0xCAB9}, {u'保', 0xB1A3}, {u'信', 0xD0C5}, {u'停', 0xCDA3},
    {u'允', 0xD4CA}, {u'入', 0xC8EB}, {u'兼', 0xBCE6}, {u'内', 0xC4DA}, {u'册', 0xB2E1}, {u'写', 0xD0B4},
    {u'冲', 0xB3E5}, {u'准', 0xD7BC}, {u'出', 0xB3F6}, {u'函', 0xBAAF}, {u'分', 0xB7D6}, {u'创', 0xB4B4},
    {u'到', 0xB5BD}, {u'制', 0xD6C6}, {u'剪', 0xBCF4}, {u'功', 0xB9A6}, {u'加', 0xBCD3}, {u'务', 0xCEF1},
    {u'动', 0xB6AF}, {u'包', 0xB0FC}, {u'化', 0xBBAF}, {u'区', 0xC7F8}, {u'卡', 0xBFA8}, {u'参', 0xB2CE},
    {u'发', 0xB7A2}, {u'取', 0xC8A1}, {u'口', 0xBFDA}, {u'只', 0xD6BB}, {u'可', 0xBFC9}, {u'合', 0xBACF},
    {u'同', 0xCDAC}, {u'名', 0xC3FB}, {u'后', 0xBAF3}, {u'含', 0xBAAC}, {u'启', 0xC6F4}, {u'员', 0xD4B1},
    {u'和', 0xBACD}, {u'器', 0xC6F7}, {u'回', 0xBBD8}, {u'在', 0xD4DA}, {u'地', 0xB5D8}, {u'块', 0xBFE9},
    {u'型', 0xD0CD}, {u'增', 0xD4F6}, {u'声', 0xC9F9}, {u'备', 0xB1B8}, {u'复', 0xB8B4}, {u'多', 0xB6E0},
    {u'够', 0xB9BB}, {u'大', 0xB4F3}, {u'失', 0xCAA7}, {u'好', 0xBAC3}, {u'媒', 0xC3BD}, {u'子', 0xD7D3},
    {u'字', 0xD7D6}, {u'存', 0xB4E6}, {u'安', 0xB0B2}, {u'完', 0xCDEA}, {u'定', 0xB6A8}, {u'实', 0xCAB5},
    {u'容', 0xC8DD}, {u'密', 0xC3DC}, {u'对', 0xB6D4}, {u'导', 0xB5BC}, {u'工', 0xB9A4}, {u'已', 0xD2D1},
    {u'并', 0xB2A2}, {u'序', 0xD0F2}, {u'库', 0xBFE2}, {u'应', 0xD3A6}, {u'度', 0xB6C8}, {u'建', 0xBDA8},
    {u'开', 0xBFAA}, {u'式', 0xCABD}, {u'引', 0xD2FD}, {u'录', 0xC2BC}, {u'径', 0xBEB6}, {u'得', 0xB5C3},
    {u'志', 0xD6BE}, {u'态', 0xCCAC}, {u'息', 0xCFA2}, {u'成', 0xB3C9}, {u'或', 0xBBF2}, {u'户', 0xBBA7},
    {u'所', 0xCBF9}, {u'打', 0xB4F2}, {u'执', 0xD6B4}, {u'找', 0xD5D2}, {u'拒', 0xBEDC}, {u'持', 0xB3D6},
    {u'指', 0xD6B8}, {u'据', 0xBEDD}, {u'操', 0xB2D9}, {u'支', 0xD6A7}, {u'效', 0xD0A7}, {u'数', 0xCAFD},
    {u'整', 0xD5FB}, {u'文', 0xCEC4}, {u'新', 0xD0C2}, {u'无', 0xCEDE}, {u'日', 0xC8D5}, {u'是', 0xCAC7},
    {u'普', 0xC6D5}, {u'最', 0xD7EE}, {u'有', 0xD3D0}, {u'服', 0xB7FE}, {u'期', 0xC6DA}, {u'本', 0xB1BE},
    {u'权', 0xC8A8}, {u'析', 0xCEF6}, {u'查', 0xB2E9}, {u'样', 0xD1F9}, {u'格', 0xB8F1}, {u'桢', 0xE8E5},
    {u'检', 0xBCEC}, {u'模', 0xC4A3}, {u'次', 0xB4CE}, {u'止', 0xD6B9}, {u'正', 0xD5FD}, {u'此', 0xB4CB},
    {u'求', 0xC7F3}, {u'没', 0xC3BB}, {u'法', 0xB7A8}, {u'注', 0xD7A2}, {u'活', 0xBBEE}, {u'流', 0xC1F7},
    {u'测', 0xB2E2}, {u'浏', 0xE4AF}, {u'消', 0xCFFB}, {u'源', 0xD4B4}, {u'满', 0xC2FA}, {u'激', 0xBCA4},
    {u'版', 0xB0E6}, {u'状', 0xD7B4}, {u'率', 0xC2CA}, {u'现', 0xCFD6}, {u'理', 0xC0ED}, {u'用', 0xD3C3},
    {u'由', 0xD3C9}, {u'留', 0xC1F4}, {u'登', 0xB5C7}, {u'的', 0xB5C4}, {u'盘', 0xC5CC}, {u'目', 0xC4BF},
    {u'看', 0xBFB4}, {u'码', 0xC2EB}, {u'确', 0xC8B7}, {u'磁', 0xB4C5}, {u'禁', 0xBDFB}, {u'称', 0xB3C6},
    {u'移', 0xD2C6}, {u'程', 0xB3CC}, {u'空', 0xBFD5}, {u'立', 0xC1A2}, {u'符', 0xB7FB}, {u'第', 0xB5DA},
    {u'管', 0xB9DC}, {u'类', 0xC0E0}, {u'精', 0xBEAB}, {u'系', 0xCFB5}, {u'索', 0xCBF7}, {u'组', 0xD7E9},
    {u'细', 0xCFB8}, {u'经', 0xBEAD}, {u'绝', 0xBEF8}, {u'统', 0xCDB3}, {u'继', 0xBCCC}, {u'续', 0xD0F8},
    {u'缓', 0xBBBA}, {u'编', 0xB1E0}, {u'网', 0xCDF8}, {u'置', 0xD6C3}, {u'能', 0xC4DC}, {u'致', 0xD6C2},
    {u'行', 0xD0D0}, {u'表', 0xB1ED}, {u'被', 0xB1BB}, {u'装', 0xD7B0}, {u'要', 0xD2AA}, {u'视', 0xCAD3},
    {u'览', 0xC0C0}, {u'解', 0xBDE2}, {u'许', 0xD0ED}, {u'设', 0xC9E8}, {u'访', 0xB7C3}, {u'话', 0xBBB0},
    {u'该', 0xB8C3}, {u'详', 0xCFEA}, {u'误', 0xCEF3}, {u'请', 0xC7EB}, {u'读', 0xB6C1}, {u'象', 0xCFF3},
    {u'败', 0xB0DC}, {u'资', 0xD7CA}, {u'起', 0xC6F0}, {u'超', 0xB3AC}, {u'足', 0xD7E3}, {u'路', 0xC2B7},
    {u'载', 0xD4D8}, {u'辑', 0xBCAD}, {u'输', 0xCAE4}, {u'达', 0xB4EF}, {u'过', 0xB9FD}, {u'运', 0xD4CB},
    {u'返', 0xB7B5}, {u'还', 0xBBB9}, {u'连', 0xC1AC}, {u'适', 0xCACA}, {u'选', 0xD1A1}, {u'通', 0xCDA8},
    {u'道', 0xB5C0}, {u'部', 0xB2BF}, {u'配', 0xC5E4}, {u'采', 0xB2C9}, {u'重', 0xD6D8}, {u'量', 0xC1BF},
    {u'错', 0xB4ED}, {u'问', 0xCECA}, {u'间', 0xBCE4}, {u'陆', 0xC2BD}, {u'限', 0xCFDE}, {u'除', 0xB3FD},
    {u'需', 0xD0E8}, {u'静', 0xBEB2}, {u'音', 0xD2F4}, {u'项', 0xCFEE}, {u'频', 0xC6B5}, {u'额', 0xB6EE},
    {u'驱', 0xC7FD}, {u'，', 0xA3AC},
};
static_assert(std::ranges::adjacent_find(kGbkCharacters, std::ranges::greater_equal{},
                                         &GbkCharacter::codePoint)
                  == std::end(kGbkCharacters),
              "code points rise: the look-up halves");

constexpr bool EachGbkOnce() {
    for (const GbkCharacter* one = std::begin(kGbkCharacters); one != std::end(kGbkCharacters); ++one) {
        for (const GbkCharacter* other = std::begin(kGbkCharacters); other != one; ++other) {
            if (other->gbk == one->gbk) return false;
        }
    }
    return true;
}

static_assert(EachGbkOnce(), "texts convert back");

} // namespace kiv

#endif

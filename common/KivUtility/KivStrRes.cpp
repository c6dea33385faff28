// The message table, look-ups in it, and formatting.
#include "KivStrRes.h"

#include "GbkText.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <string>

using kiv::operator""_gbk;

constexpr KivStringResourceRecord KivStringResourceTable[] = {
    {0, "成功"_gbk},
    {1, "kKivRC_False"},
    {2, "普通错误. 详细信息请查看服务器事件日志."_gbk},
    {3, "保留的返回码 003."_gbk},
    {4, "保留的返回码 004."_gbk},
    {5, "保留的返回码 005."_gbk},
    {6, "服务器配置不允许此操作."_gbk},
    {7, "状态错误, 请确信正确的操作过程."_gbk},
    {8, "没有配置完整，无法继续，请重起程序"_gbk},
    {9, "没有足够资源执行请求的操作."_gbk},
    {10, "选项不支持."_gbk},
    {11, "选项没有实现."_gbk},
    {12, "服务还没有启动."_gbk},
    {13, "服务已经启动."_gbk},
    {14, "服务器子系统禁止使用."_gbk},
    {15, "保留的返回码 015."_gbk},
    {16, "媒体对象没发现."_gbk},
    {17, "媒体对象已经存在."_gbk},
    {18, "访问拒绝."_gbk},
    {19, "无效的用户会话信息."_gbk},
    {20, "无效的输入参数."_gbk},
    {21, "kKivRC_dsCannotOpen"},
    {22, "kKivRC_UserProfileDbError"},
    {23, "kKivRC_UserProfileNotFound"},
    {24, "无效的名字或密码."_gbk},
    {25, "保留的返回码 025."_gbk},
    {26, "kKivRC_MemoryAllocation"},
    {27, "无效的用户本地路径."_gbk},
    {28, "无合适的媒体空间，确信有管理权限并配置了媒体空间."_gbk},
    {29, "媒体空间还没有格式化."_gbk},
    {30, "已经超过系统容量."_gbk},
    {31, "保留的返回码 031."_gbk},
    {32, "保留的返回码 032."_gbk},
    {33, "新请求可能导致系统超载."_gbk},
    {34, "会话还没有启动."_gbk},
    {35, "读取数据没准备好."_gbk},
    {36, "写数据缓冲满."_gbk},
    {37, "媒体文件正在使用."_gbk},
    {38, "为磁盘所保留。不用于文件或目录操作."_gbk},
    {39, "编码器已停止工作."_gbk},
    {40, "不能找到会话，可能已经被移除."_gbk},
    {41, "NetShow 服务没有安装."_gbk},
    {42, "已经达到所允许最大的文件入口数量."_gbk},
    {43, "已经达到所允许最大的目录入口数量."_gbk},
    {44, "没有足够的磁盘空间."_gbk},
    {45, "创建被取消."_gbk},
    {46, "不能得到所有的网卡信息."_gbk},
    {47, "RTSP版本不兼容."_gbk},
    {48, "检测到不连续文件块，请格式化/重测所有分区文件."_gbk},
    {49, "保留的返回码 049."_gbk},
    {50, "文件格式不支持."_gbk},
    {51, "无法打开DSN."_gbk},
    {52, "无效的DSN."_gbk},
    {53, "DSN 只读。"_gbk},
    {54, "创建数据库失败."_gbk},
    {55, "DSN 操作被用户取消."_gbk},
    {56, "无法解析DSN字符串."_gbk},
    {57, "没有该DSN对应的数据库文件."_gbk},
    {58, "不是文件DSN."_gbk},
    {59, "无法找到DSN 驱动."_gbk},
    {60, "无法保存DSN注册."_gbk},
    {61, "程序只能由系统管理员运行."_gbk},
    {62, "保留的返回码 062."_gbk},
    {63, "无效的函数ID."_gbk},
    {64, "用户没有被激活."_gbk},
    {65, "用户到期."_gbk},
    {66, "用户不能浏览."_gbk},
    {67, "用户超出多次登陆限制."_gbk},
    {68, "用户磁盘配额超出."_gbk},
    {69, "读取注册设置失败."_gbk},
    {70, "写注册设置失败."_gbk},
    {71, "保留的返回码 071."_gbk},
    {72, "保留的返回码 072."_gbk},
    {73, "保留的返回码 073."_gbk},
    {74, "用户配置不能读取,请重新启动程序."_gbk},
    {75, "无法增加重复用户."_gbk},
    {76, "无法增加重复组."_gbk},
    {77, "无法unlink用户的最后组"_gbk},
    {78, "无法启动同一剪辑的第二个流，同样的IP."_gbk},
    {79, "保留的返回码 079."_gbk},
    {80, "路径/文件名称不能包含任何以下字符 / \\ \" ? | * : < >"_gbk},
    {81, "用户登陆名称/密码不能包含任何以下字符 / \\ \" ? | * : < >"_gbk},
    {82, "无效的频道索引"_gbk},
    {83, "无效的流类型"_gbk},
    {84, "文件不存在"_gbk},
    {85, "无效的声音码率"_gbk},
    {86, "无效的视频码率"_gbk},
    {87, "File key无效"_gbk},
    {88, "Protocol无效"_gbk},
    {89, "码率无效"_gbk},
    {90, "没指定文件名称"_gbk},
    {91, "无效的桢率"_gbk},
    {92, "无效的声音格式"_gbk},
    {93, "无效的声音模式"_gbk},
    {94, "无效的精度"_gbk},
    {95, "无效的采样率和声音格式组合"_gbk},
    {96, "无效的采样码率"_gbk},
    {97, "无效的码率和声音格式组合"_gbk},
    {98, "Reserved Return Code 098"},
    {99, "Reserved Return Code 099"},
    {100, "kKivRC_FirstWarning"},
    {101,
     "The User has been added, but one or both of the home directories was not created.\n"
     " 1.In the media Files window, look for the Broadband and Internet directories that you specified. \n"
     " 2. If one is missing, create the directory and set its properties "},
    {102, "确信用户新主目录在不同的文件系统中正确建立 !"_gbk},
    {103, "返回新DSN，需要内部保存到注册表"_gbk},
    {104, "kKivStr_StartMarker"},
    {105, "kKivStr_DeadEndReached"},
    {106, "kKivStr_ServerNotFound"},
    {107, "kKivStr_InvalidLoginInfo"},
    {108, "采样静态文本"_gbk},
    {109, "采样格式 %s %d %x 文本"_gbk},
    {110, "最后字串 %s %d"_gbk},
};

const int TABLEROWS = static_cast<int>(std::size(KivStringResourceTable));

namespace {

constexpr int FirstInconsistent(std::span<const KivStringResourceRecord> rows) {
    for (int position = 0; const KivStringResourceRecord& row : rows) {
        if (row.id != position++) return position;
    }
    return 0;
}

static_assert(std::size(KivStringResourceTable) == 111 && FirstInconsistent(KivStringResourceTable) == 0);
static_assert(std::ranges::all_of(KivStringResourceTable, kiv::IsGbk, &KivStringResourceRecord::text));

} // namespace

CKivString KivGetStrRes(int id) {
    if (id < 0 || id >= TABLEROWS) return "Unknown Message";
    const KivStringResourceRecord& row = KivStringResourceTable[id];
    return row.id == id ? row.text : "Strings Index inconsistent, please check String Table";
}

CKivString KivGetStrResUtf8(int id) { return kiv::GbkToUtf8(KivGetStrRes(id)).c_str(); }

CKivString KivFmtStrV(const char* format, va_list arguments) {
    constexpr std::size_t kLongestFormat = 512;
    if (format == nullptr) return "Kiv_FormatString receive NULL format";
    if (std::strlen(format) > kLongestFormat) return "KivFmtStrV receive format which is too long";
    std::array<char, 1024> text;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer loses the callers' va_start
    return std::vsnprintf(text.data(), text.size(), format, arguments) < 0 ? "" : text.data();
}

CKivString KivFmtStr(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CKivString text = KivFmtStrV(format, arguments);
    va_end(arguments);
    return text;
}

CKivString KivFmtStrRes(int id, ...) {
    va_list arguments;
    va_start(arguments, id);
    CKivString text = KivFmtStrV(KivGetStrRes(id), arguments);
    va_end(arguments);
    return text;
}

int KivChkStrRes() { return FirstInconsistent(KivStringResourceTable); }

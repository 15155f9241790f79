#pragma once

#include <QtGlobal>

namespace quenlofar {

/// Codecs in the order in which they lay claim to tags, and these tags: four characters or a number each.
struct CodecClaim
{
    qint32 codecId;
    const char *tags;
};

// clang-format off
constexpr CodecClaim codecClaims[] = {
    {28, "H264|h264|X264|x264|avc1|DAVC|SMV2|VSSH|Q264|V264"}, {5, "H263|X263|T263|L263|VX1K|ZyGo|M263|lsvm"},
    {20, "H263"}, {21, "I263"}, {4, "H261"}, {5, "U263"},
    {13,
     "FMP4|DIVX|DX50|XVID|MP4S|M4S2|0x00000004|ZMP4|DIV1|BLZ0|mp4v|UMP4|WV1F|SEDG|RMP4|3IV2|WAWV|FFDS|"
     "FVFW|DCOD|MVXM|PM4V|SMP4|DXGM|VIDM|M4T3|GEOX|HDX4|DMK2|DIGI|INMC|EPHV|EM4A|M4CC|SN40|VSPX|ULDX|GEOV|"
     "SIPP|SM4V|XVIX|DreX|QMP4|PLV1"},
    {17, "MP43|DIV3|MPG3|DIV5|DIV6|DIV4|DVX3|AP41|COL1|COL0"}, {16, "MP42|DIV2"}, {15, "MPG4|MP41"}, {18, "WMV1"},
    {19, "WMV2|GXVE"}, {25, "dvsd|dvhd|dvh1|dvsl|dv25|dv50|cdvc|CDVH|CDV5|dvc |dvcs|dvh1|dvis|pdvc|SL25|SLDV"},
    {1, "mpg1|mpg2"}, {2, "mpg2|MPEG"}, {1, "PIM1"}, {2, "PIM2"}, {1, "VCR2|0x10000001"}, {2, "0x10000002"},
    {13, "0x10000004"}, {2, "DVR |MMES|LMP2|slif|EM2V|M701|mpgv"}, {1, "BW10|XMPG"}, {8, "MJPG|LJPG|dmb1|mjpa"},
    {10, "LJPG"}, {8, "JPGL"}, {12, "MJLS|MJPG"}, {8, "MJLS|jpeg|IJPG"}, {0x4156526E, "AVRn"},
    {8, "ACDV|QIVG|SLMJ|CJPG|IJLV|MVJP|AVI1|AVI2|MTSJ|ZJPG|MMJP"}, {26, "HFYU"}, {69, "FFVH"}, {27, "CYUV"},
    {14,
     "0x00000000|0x00000003|I420|YUY2|Y422|V422|YUNV|UYNV|UYNY|uyv1|2Vu1|2vuy|yuvs|yuv2|P422|YV12|YV16|"
     "YV24|UYVY|VYUY|IYUV|Y800|Y8  |HDYC|YVU9|VDTZ|Y411|NV12|NV21|Y41B|Y42B|YUV9|YVU9|auv2|YVYU"},
    {132, "FRWU"}, {147, "R10k"}, {135, "r210"}, {129, "v210"}, {0x56333038, "v308"}, {0x56343038, "v408"},
    {0x41595556, "AYUV"}, {159, "v410"}, {0x59555634, "yuv4"}, {29, "IV31|IV32"}, {113, "IV41"}, {114, "IV50"},
    {30, "VP31|VP30"}, {92, "VP50"}, {93, "VP60|VP61|VP62"}, {94, "VP6F|FLV4"}, {142, "VP80"}, {32, "ASV1"},
    {33, "ASV2"}, {36, "VCR1"}, {34, "FFV1"}, {42, "Xxan"}, {115, "LM20"}, {46, "mrle|0x00000001|0x00000002"},
    {47, "MSVC|msvc|CRAM|cram|WHAM|wham"}, {44, "cvid"}, {52, "DUCK|PVEZ"}, {54, "MSZH"}, {55, "ZLIB"}, {57, "SNOW"},
    {35, "4XMV"}, {22, "FLV1|S263"}, {88, "FSV1"}, {23, "svq1"}, {58, "tscc"}, {59, "ULTI"}, {61, "VIXL"},
    {62, "QPEG|Q1.0|Q1.1"}, {73, "WMV3"}, {153, "WMVP"}, {72, "WVC1|WMVA"}, {154, "WVP2"}, {74, "LOCO"},
    {75, "WNV1|YUV8"}, {76, "AAS4|AASC"}, {77, "RT21"}, {78, "FPS1"}, {31, "theo"}, {79, "TM20"}, {81, "CSCD"},
    {83, "ZMBV"}, {87, "KMVC"}, {89, "CAVS"}, {90, "mjp2|MJ2C|LJ2C|LJ2K|IPJ2"}, {91, "VMnc"}, {95, "tga "},
    {63, "MPNG|PNG1"}, {37, "CLJR"}, {118, "drac"}, {43, "azpr|RPZA|rpza"}, {11, "SP54"}, {125, "AURA"},
    {126, "AUR2"}, {130, "dpx "}, {140, "KGV1"}, {149, "LAGS"}, {0x0047324D, "G2M2|G2M3|G2M4"}, {109, "AMVF"},
    {155, "ULRA|ULRG|ULY0|ULY2"}, {157, "VBLE"}, {0x45313330, "E130"}, {158, "xtor"}, {163, "ZECO"},
    {0x59343150, "Y41P"}, {51, "AFLC"}, {0x30455852, "exr "}, {164, "MSS1"}, {165, "MSA1"}, {166, "TSC2"},
    {167, "MTS2"}, {168, "CLLC"}, {169, "MSS2"}, {24, "SVQ3"}, {0x30313256, "012v|a12v"},
};
// clang-format on

} // namespace quenlofar

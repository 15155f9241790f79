#include "fourcctable.h"

#include "containeravi.h"

namespace quenlofar {

// The codec ids are frozen numbers: later releases of libavcodec count differently, so none is taken from its headers.
// From 0x10000 up they are four-character codes themselves, read big-endian ("AVRn" is 0x4156526E).
// Source of the tags: FourCCs as writers of AVI files use them and as they are registered for biCompression.
//
// Kept: seven tags stand twice. Several codecs lay claim to them; the table records every claim, and its order says
// which one wins.
// clang-format off
const FourCCRow videoCodecs[videoCodecCount + 1] = {
    {        28, fourCC("H264")}, // H.264
    {        28, fourCC("h264")},
    {        28, fourCC("X264")},
    {        28, fourCC("x264")},
    {        28, fourCC("avc1")},
    {        28, fourCC("DAVC")},
    {        28, fourCC("SMV2")},
    {        28, fourCC("VSSH")},
    {        28, fourCC("Q264")},
    {        28, fourCC("V264")},
    {         5, fourCC("H263")}, // H.263
    {         5, fourCC("X263")},
    {         5, fourCC("T263")},
    {         5, fourCC("L263")},
    {         5, fourCC("VX1K")},
    {         5, fourCC("ZyGo")},
    {         5, fourCC("M263")},
    {         5, fourCC("lsvm")},
    {        20, fourCC("H263")}, // Kept: never returned, the tag stands above
    {        21, fourCC("I263")}, // Intel H.263
    {         4, fourCC("H261")}, // H.261
    {         5, fourCC("U263")}, // H.263
    {        13, fourCC("FMP4")}, // MPEG-4 part 2
    {        13, fourCC("DIVX")},
    {        13, fourCC("DX50")},
    {        13, fourCC("XVID")},
    {        13, fourCC("MP4S")},
    {        13, fourCC("M4S2")},
    {        13, 0x00000004},
    {        13, fourCC("ZMP4")},
    {        13, fourCC("DIV1")},
    {        13, fourCC("BLZ0")},
    {        13, fourCC("mp4v")},
    {        13, fourCC("UMP4")},
    {        13, fourCC("WV1F")},
    {        13, fourCC("SEDG")},
    {        13, fourCC("RMP4")},
    {        13, fourCC("3IV2")},
    {        13, fourCC("WAWV")},
    {        13, fourCC("FFDS")},
    {        13, fourCC("FVFW")},
    {        13, fourCC("DCOD")},
    {        13, fourCC("MVXM")},
    {        13, fourCC("PM4V")},
    {        13, fourCC("SMP4")},
    {        13, fourCC("DXGM")},
    {        13, fourCC("VIDM")},
    {        13, fourCC("M4T3")},
    {        13, fourCC("GEOX")},
    {        13, fourCC("HDX4")},
    {        13, fourCC("DMK2")},
    {        13, fourCC("DIGI")},
    {        13, fourCC("INMC")},
    {        13, fourCC("EPHV")},
    {        13, fourCC("EM4A")},
    {        13, fourCC("M4CC")},
    {        13, fourCC("SN40")},
    {        13, fourCC("VSPX")},
    {        13, fourCC("ULDX")},
    {        13, fourCC("GEOV")},
    {        13, fourCC("SIPP")},
    {        13, fourCC("SM4V")},
    {        13, fourCC("XVIX")},
    {        13, fourCC("DreX")},
    {        13, fourCC("QMP4")},
    {        13, fourCC("PLV1")},
    {        17, fourCC("MP43")}, // Microsoft MPEG-4 version 3
    {        17, fourCC("DIV3")},
    {        17, fourCC("MPG3")},
    {        17, fourCC("DIV5")},
    {        17, fourCC("DIV6")},
    {        17, fourCC("DIV4")},
    {        17, fourCC("DVX3")},
    {        17, fourCC("AP41")},
    {        17, fourCC("COL1")},
    {        17, fourCC("COL0")},
    {        16, fourCC("MP42")}, // Microsoft MPEG-4 version 2
    {        16, fourCC("DIV2")},
    {        15, fourCC("MPG4")}, // Microsoft MPEG-4 version 1
    {        15, fourCC("MP41")},
    {        18, fourCC("WMV1")},
    {        19, fourCC("WMV2")},
    {        19, fourCC("GXVE")},
    {        25, fourCC("dvsd")}, // DV
    {        25, fourCC("dvhd")},
    {        25, fourCC("dvh1")},
    {        25, fourCC("dvsl")},
    {        25, fourCC("dv25")},
    {        25, fourCC("dv50")},
    {        25, fourCC("cdvc")},
    {        25, fourCC("CDVH")},
    {        25, fourCC("CDV5")},
    {        25, fourCC("dvc ")},
    {        25, fourCC("dvcs")},
    {        25, fourCC("dvh1")}, // Kept: never returned, the tag stands above
    {        25, fourCC("dvis")},
    {        25, fourCC("pdvc")},
    {        25, fourCC("SL25")},
    {        25, fourCC("SLDV")},
    {         1, fourCC("mpg1")}, // MPEG-1 video
    {         1, fourCC("mpg2")},
    {         2, fourCC("mpg2")}, // Kept: never returned, the tag stands above
    {         2, fourCC("MPEG")},
    {         1, fourCC("PIM1")}, // MPEG-1 video
    {         2, fourCC("PIM2")}, // MPEG-2 video
    {         1, fourCC("VCR2")}, // MPEG-1 video
    {         1, 0x10000001},
    {         2, 0x10000002},    // MPEG-2 video
    {        13, 0x10000004},    // MPEG-4 part 2
    {         2, fourCC("DVR ")}, // MPEG-2 video
    {         2, fourCC("MMES")},
    {         2, fourCC("LMP2")},
    {         2, fourCC("slif")},
    {         2, fourCC("EM2V")},
    {         2, fourCC("M701")},
    {         2, fourCC("mpgv")},
    {         1, fourCC("BW10")}, // MPEG-1 video
    {         1, fourCC("XMPG")},
    {         8, fourCC("MJPG")}, // Motion JPEG
    {         8, fourCC("LJPG")},
    {         8, fourCC("dmb1")},
    {         8, fourCC("mjpa")},
    {        10, fourCC("LJPG")}, // Kept: never returned, the tag stands above
    {         8, fourCC("JPGL")}, // Motion JPEG
    {        12, fourCC("MJLS")}, // JPEG-LS
    {        12, fourCC("MJPG")}, // Kept: never returned, the tag stands above
    {         8, fourCC("MJLS")}, // Kept: never returned, the tag stands above
    {         8, fourCC("jpeg")},
    {         8, fourCC("IJPG")},
    {0x4156526E, fourCC("AVRn")},
    {         8, fourCC("ACDV")}, // Motion JPEG
    {         8, fourCC("QIVG")},
    {         8, fourCC("SLMJ")},
    {         8, fourCC("CJPG")},
    {         8, fourCC("IJLV")},
    {         8, fourCC("MVJP")},
    {         8, fourCC("AVI1")},
    {         8, fourCC("AVI2")},
    {         8, fourCC("MTSJ")},
    {         8, fourCC("ZJPG")},
    {         8, fourCC("MMJP")},
    {        26, fourCC("HFYU")}, // HuffYUV
    {        69, fourCC("FFVH")},
    {        27, fourCC("CYUV")},
    {        14, 0x00000000},    // raw video
    {        14, 0x00000003},
    {        14, fourCC("I420")},
    {        14, fourCC("YUY2")},
    {        14, fourCC("Y422")},
    {        14, fourCC("V422")},
    {        14, fourCC("YUNV")},
    {        14, fourCC("UYNV")},
    {        14, fourCC("UYNY")},
    {        14, fourCC("uyv1")},
    {        14, fourCC("2Vu1")},
    {        14, fourCC("2vuy")},
    {        14, fourCC("yuvs")},
    {        14, fourCC("yuv2")},
    {        14, fourCC("P422")},
    {        14, fourCC("YV12")},
    {        14, fourCC("YV16")},
    {        14, fourCC("YV24")},
    {        14, fourCC("UYVY")},
    {        14, fourCC("VYUY")},
    {        14, fourCC("IYUV")},
    {        14, fourCC("Y800")},
    {        14, fourCC("Y8  ")},
    {        14, fourCC("HDYC")},
    {        14, fourCC("YVU9")},
    {        14, fourCC("VDTZ")},
    {        14, fourCC("Y411")},
    {        14, fourCC("NV12")},
    {        14, fourCC("NV21")},
    {        14, fourCC("Y41B")},
    {        14, fourCC("Y42B")},
    {        14, fourCC("YUV9")},
    {        14, fourCC("YVU9")}, // Kept: never returned, the tag stands above
    {        14, fourCC("auv2")},
    {        14, fourCC("YVYU")},
    {       132, fourCC("FRWU")},
    {       147, fourCC("R10k")},
    {       135, fourCC("r210")},
    {       129, fourCC("v210")},
    {0x56333038, fourCC("v308")},
    {0x56343038, fourCC("v408")},
    {0x41595556, fourCC("AYUV")},
    {       159, fourCC("v410")},
    {0x59555634, fourCC("yuv4")},
    {        29, fourCC("IV31")},
    {        29, fourCC("IV32")},
    {       113, fourCC("IV41")},
    {       114, fourCC("IV50")},
    {        30, fourCC("VP31")},
    {        30, fourCC("VP30")},
    {        92, fourCC("VP50")},
    {        93, fourCC("VP60")},
    {        93, fourCC("VP61")},
    {        93, fourCC("VP62")},
    {        94, fourCC("VP6F")},
    {        94, fourCC("FLV4")},
    {       142, fourCC("VP80")}, // VP8
    {        32, fourCC("ASV1")},
    {        33, fourCC("ASV2")},
    {        36, fourCC("VCR1")},
    {        34, fourCC("FFV1")},
    {        42, fourCC("Xxan")},
    {       115, fourCC("LM20")},
    {        46, fourCC("mrle")}, // Microsoft RLE
    {        46, 0x00000001},
    {        46, 0x00000002},
    {        47, fourCC("MSVC")}, // Microsoft Video 1
    {        47, fourCC("msvc")},
    {        47, fourCC("CRAM")},
    {        47, fourCC("cram")},
    {        47, fourCC("WHAM")},
    {        47, fourCC("wham")},
    {        44, fourCC("cvid")}, // Cinepak
    {        52, fourCC("DUCK")},
    {        52, fourCC("PVEZ")},
    {        54, fourCC("MSZH")},
    {        55, fourCC("ZLIB")},
    {        57, fourCC("SNOW")},
    {        35, fourCC("4XMV")},
    {        22, fourCC("FLV1")}, // Sorenson H.263
    {        22, fourCC("S263")},
    {        88, fourCC("FSV1")},
    {        23, fourCC("svq1")}, // SVQ1
    {        58, fourCC("tscc")},
    {        59, fourCC("ULTI")},
    {        61, fourCC("VIXL")},
    {        62, fourCC("QPEG")},
    {        62, fourCC("Q1.0")},
    {        62, fourCC("Q1.1")},
    {        73, fourCC("WMV3")},
    {       153, fourCC("WMVP")},
    {        72, fourCC("WVC1")}, // VC-1
    {        72, fourCC("WMVA")},
    {       154, fourCC("WVP2")},
    {        74, fourCC("LOCO")},
    {        75, fourCC("WNV1")},
    {        75, fourCC("YUV8")},
    {        76, fourCC("AAS4")},
    {        76, fourCC("AASC")},
    {        77, fourCC("RT21")},
    {        78, fourCC("FPS1")},
    {        31, fourCC("theo")},
    {        79, fourCC("TM20")},
    {        81, fourCC("CSCD")},
    {        83, fourCC("ZMBV")},
    {        87, fourCC("KMVC")},
    {        89, fourCC("CAVS")},
    {        90, fourCC("mjp2")}, // JPEG 2000
    {        90, fourCC("MJ2C")},
    {        90, fourCC("LJ2C")},
    {        90, fourCC("LJ2K")},
    {        90, fourCC("IPJ2")},
    {        91, fourCC("VMnc")},
    {        95, fourCC("tga ")},
    {        63, fourCC("MPNG")},
    {        63, fourCC("PNG1")},
    {        37, fourCC("CLJR")},
    {       118, fourCC("drac")},
    {        43, fourCC("azpr")},
    {        43, fourCC("RPZA")},
    {        43, fourCC("rpza")},
    {        11, fourCC("SP54")}, // SP5X
    {       125, fourCC("AURA")},
    {       126, fourCC("AUR2")},
    {       130, fourCC("dpx ")},
    {       140, fourCC("KGV1")},
    {       149, fourCC("LAGS")},
    {0x0047324D, fourCC("G2M2")}, // G2M
    {0x0047324D, fourCC("G2M3")},
    {0x0047324D, fourCC("G2M4")},
    {       109, fourCC("AMVF")},
    {       155, fourCC("ULRA")}, // Ut Video
    {       155, fourCC("ULRG")},
    {       155, fourCC("ULY0")},
    {       155, fourCC("ULY2")},
    {       157, fourCC("VBLE")},
    {0x45313330, fourCC("E130")},
    {       158, fourCC("xtor")},
    {       163, fourCC("ZECO")},
    {0x59343150, fourCC("Y41P")},
    {        51, fourCC("AFLC")},
    {0x30455852, fourCC("exr ")}, // OpenEXR
    {       164, fourCC("MSS1")},
    {       165, fourCC("MSA1")},
    {       166, fourCC("TSC2")},
    {       167, fourCC("MTS2")},
    {       168, fourCC("CLLC")},
    {       169, fourCC("MSS2")},
    {        24, fourCC("SVQ3")},
    {0x30313256, fourCC("012v")},
    {0x30313256, fourCC("a12v")},
    {         0, 0},
};
// clang-format on

namespace {

/// First row of `row` and the rows after it that `matches`, or null where the table ends before.
template <typename Row, typename Matches> const Row *findRow(const Row *row, const Matches &matches)
{
    for (; row->codecId != 0; ++row) {
        if (matches(*row))
            return row;
    }
    return nullptr;
}

} // namespace

} // namespace quenlofar

using namespace quenlofar;

int ContainerAVI::getCodecID(const void *table, quint32 tag)
{
    const auto matches = [tag](const FourCCRow &each) { return each.tag == tag; };
    const FourCCRow *const row = findRow(static_cast<const FourCCRow *>(table), matches);
    return row ? row->codecId : 0;
}

int ContainerAVI::getCodecID(const void *table, const QString &text)
{
    const auto matches = [&text](const CodecNameRow &each) {
        return text == QLatin1String(each.text, int(qstrnlen(each.text, sizeof each.text)));
    };
    const CodecNameRow *const row = findRow(static_cast<const CodecNameRow *>(table), matches);
    return row ? row->codecId : 0;
}

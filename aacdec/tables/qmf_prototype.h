// The prototype filter of the QMF banks of SBR: 640 coefficients in Q31. Banks with 32 bands use every second
// one. From ISO/IEC 14496-3, table 4.A.89.
#pragma once

#include <cstdint>

namespace zdr::aacdec {

// The first half; the filter is symmetric. Signs, which alternate every 128 coefficients, are added below.
inline constexpr int32_t kQmfPrototypeHalfQ31[321] = {
    0,          -1186546,   -1206390,   -1062471,   -1046947,   -1050934,   -1082485,   -1122396,
    -1173936,   -1219299,   -1260773,   -1316997,   -1355598,   -1404526,   -1455498,   -1490700,
    -1537112,   -1558009,   -1597930,   -1608594,   -1649562,   -1658899,   -1682410,   -1670714,
    -1675824,   -1675349,   -1666013,   -1638700,   -1617055,   -1571820,   -1549494,   -1485616,
    -1428166,   -1361847,   -1276919,   -1194984,   -1105003,   -989201,    -879421,    -751872,
    -622122,    -450615,    -310608,    -132572,    28980,      235017,     438735,     633407,
    864693,     1096803,    1339896,    1601599,    1848649,    2123000,    2415952,    2701080,
    2985538,    3316406,    3622393,    3940260,    4260853,    4608840,    4942918,    5288311,
    5626785,    5985137,    6328516,    6684133,    7030778,    7391397,    7732717,    8075381,
    8419732,    8765975,    9076183,    9391101,    9708742,    10008661,   10293439,   10552220,
    10821819,   11039645,   11265950,   11482956,   11638669,   11784540,   11913319,   12012599,
    12073291,   12123661,   12109488,   12083056,   12008112,   11897997,   11758285,   11561832,
    11320623,   11034260,   10702991,   10331430,   9886914,    9406378,    8858723,    8258451,
    7602360,    6891680,    6108895,    5263169,    4353846,    3389735,    2341257,    1252469,
    59280,      -1173445,   -2484238,   -3873947,   -5331498,   -6857727,   -8461327,   -10140975,
    -11883576,  -13699291,  -15594128,  -17566037,  -19611965,  -21721843,  -23904832,  -26167087,
    -28501021,  -30903292,  -33373088,  -35932709,  -38533025,  -41204291,  -43922868,  -46700801,
    -49538189,  -52433174,  -55378417,  -58381368,  -61433532,  -64532454,  -67649516,  -70814150,
    -74006785,  -77244463,  -80490447,  -83763390,  -87048072,  -90333705,  -93651234,  -96956397,
    -100253777, -103544300, -106812778, -110070596, -113307840, -116490845, -119652130, -122753698,
    -125824435, -128814118, -131738495, -134616689, -137377943, -140069000, -142671837, -145186212,
    -147541539, -149814954, -151962109, -153975152, -155839148, -157543750, -159129321, -160514215,
    -161735011, -162781056, -163636639, -164280818, -164732073, -164964105, -164976139, -164756003,
    -164293391, -163584207, -162630173, -161399772, -159915461, -158141986, -156073666, -153722541,
    -151082577, -148104219, -144853145, -141237996, -137319726, -133058684, -128455293, -123513100,
    -118210392, -112548291, -106510610, -100137872, -93365885,  -86212509,  -78687691,  -70777610,
    -62453980,  -53753140,  -44667031,  -35154578,  -25259526,  -14954402,  -4244631,   6890609,
    18406458,   30341545,   42699304,   55453888,   68618819,   82200643,   96165783,   110553355,
    125349764,  140533446,  156109885,  172093527,  188451899,  205199225,  222335324,  239836757,
    257714785,  275952261,  294538498,  313482467,  332775585,  352393231,  372332470,  392597065,
    413168713,  434060170,  455209808,  476666787,  498364570,  520338914,  542557515,  565014394,
    587687685,  610575598,  633661590,  656936417,  680382716,  703969563,  727722657,  751600835,
    775583026,  799679004,  823849892,  848086768,  872376078,  896724080,  921081489,  945441220,
    969802871,  994136341,  1018434073, 1042657662, 1066807224, 1090882502, 1114809221, 1138647562,
    1162337003, 1185851478, 1209202760, 1232338674, 1255290786, 1277993951, 1300469613, 1322658787,
    1344591630, 1366224825, 1387547102, 1408538026, 1429180407, 1449479133, 1469384181, 1488911053,
    1508046494, 1526734264, 1544999086, 1562820251, 1580163943, 1597046623, 1613433983, 1629313187,
    1644687904, 1659528308, 1673810499, 1687568483, 1700750322, 1713362616, 1725392677, 1736819277,
    1747663268, 1757882012, 1767469213, 1776457604, 1784781918, 1792491150, 1799530596, 1805935263,
    1811668376, 1816732183, 1821133946, 1824889771, 1827931966, 1830310414, 1832022799, 1833032036,
    1833389597};

struct QmfPrototype {
  int32_t q31[640];
};

constexpr QmfPrototype make_qmf_prototype() {
  QmfPrototype whole = {};
  for (int n = 0; n < 640; ++n) {
    const int32_t value = kQmfPrototypeHalfQ31[n <= 320 ? n : 640 - n];
    whole.q31[n] = n / 128 % 2 != 0 ? -value : value;
  }
  return whole;
}

inline constexpr QmfPrototype kQmfPrototype = make_qmf_prototype();

// The five coefficients of a windowed sample of the 32-band analysis, split into numbers of 16 bits. They
// apply to samples two slots apart. Each word holds two numbers, the low half for the newer of two samples.
// The centre coefficient is the largest; it and its larger neighbour need more bits than the others, so their
// upper halves are in a word of their own.
struct AnalysisTaps {
  static constexpr int kOuterBits = 13;   // all but the centre: high * 2^13 + low
  static constexpr int kCentreBits = 16;  // high * 2^16 + low
  int32_t newest_high, oldest_high, newest_low, oldest_low;
  int32_t centre_high, centre_low;
};

// The neighbour is older than the centre in the first half of the window, newer in the second.
constexpr bool has_older_neighbour(int n) {
  return n < 32;
}

constexpr int32_t pair_of_words(int32_t newer, int32_t older) {
  return static_cast<int32_t>(static_cast<uint32_t>(older) << 16 | (static_cast<uint32_t>(newer) & 0xFFFF));
}

// The taps of windowed sample n, 0 to 63.
constexpr AnalysisTaps analysis_taps(int n) {
  int32_t c[5] = {};
  for (int j = 0; j < 5; ++j) c[j] = kQmfPrototype.q31[2 * n + 128 * j];
  const auto take_upper = [](int32_t& v) {
    const int32_t upper = (v - static_cast<int16_t>(v)) >> AnalysisTaps::kCentreBits;
    v = static_cast<int16_t>(v);
    return upper;
  };
  const auto high = [](int32_t v) { return v >> AnalysisTaps::kOuterBits; };
  const auto low = [](int32_t v) { return v & ((1 << AnalysisTaps::kOuterBits) - 1); };
  const bool older = has_older_neighbour(n);
  const int32_t neighbour = take_upper(c[older ? 3 : 1]);
  const int32_t centre = take_upper(c[2]);
  return {pair_of_words(high(c[0]), high(c[1])),
          pair_of_words(high(c[3]), high(c[4])),
          pair_of_words(low(c[0]), low(c[1])),
          pair_of_words(low(c[3]), low(c[4])),
          older ? pair_of_words(centre, neighbour) : pair_of_words(neighbour, centre),
          older ? pair_of_words(c[2], 0) : pair_of_words(0, c[2])};
}

struct AnalysisTapTable {
  AnalysisTaps taps[64];
};

inline constexpr AnalysisTapTable kAnalysisTaps = [] {
  AnalysisTapTable table = {};
  for (int n = 0; n < 64; ++n) table.taps[n] = analysis_taps(n);
  return table;
}();

// Sums of products with 16-bit samples fit 32 bits: the large coefficients add up to less than 2^31 * 1.25
// and are split at bit 16; the others add up to less than 2^28 and are split at bit 13.
static_assert([] {
  for (int n = 0; n < 64; ++n) {
    int64_t sum[2] = {};
    for (int j = 0; j < 5; ++j) {
      const int64_t v = kQmfPrototype.q31[2 * n + 128 * j];
      const bool large = j == 2 || j == (has_older_neighbour(n) ? 3 : 1);
      sum[large ? 1 : 0] += v < 0 ? -v : v;
    }
    if (sum[0] >= int64_t{1} << 28 || sum[1] >= int64_t{5} << 29) return false;
  }
  return true;
}());

}  // namespace zdr::aacdec

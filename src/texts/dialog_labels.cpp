#include "texts/dialog_labels.h"

namespace quelvari {

const std::vector<DialogLabels>& DialogLabelLists() {
    using namespace dialog_id;
    static const std::vector<DialogLabels> lists = {
        {kMeasuring, {2000, 2001, 2088, 1004, 1005, 1006, 2025, 1451, 1452, 1008, 1007, 1009,
                      1010, 1011, 1012, 2176, 2004, 2005, 2155, 2156, 2178, 1,    2,    1002}},
        {kTime, {2000, 2001, 1160, 1161, 3054, 2004, 2005, 1, 2, 1002}},
        {kInterrupt,
         {2000, 2001, 1178, 1179, 1180, 1181, 1182, 1183, 1184, 1185, 1186, 1187, 1188, 1189,
          1190, 1191, 1192, 1193, 1194, 1195, 1196, 1197, 3060, 2004, 2005, 1,    2,    1002}},
        {kBreak, {2000, 2001, 3090, 2004, 2005, 1, 2, 1002}},
        {kSection, {2000, 2001, 2280, 2281, 2282, 3090, 2283, 3091, 2004, 2005, 1, 2, 1002}},
        {kModule, {2000, 2001, 3061, 2004, 2005, 1, 2, 1002}},
        {kCommand, {2000, 2001, 2034, 1057, 1056, 2041, 2042, 2043, 2044, 2004, 2005, 1, 2, 1002}},
        {kPicture, {2000, 2001, 1172, 2018, 1170, 1171, 1057, 1056, 2019, 2020,
                    2021, 2022, 2023, 2163, 2180, 2004, 2005, 1,    2,    1002}},
        {kSelection, {2120, 2121, 2122, 2123, 2124, 2125, 1002, 2}},
        // The cycle has no text of its own in the tables and keeps its label.
        {kInterbusSelect, {190, 191, 1, 2, 1002}},
        {kGoTo, {2053, 1, 2}},
        {kSettings, {2173, 2174, 2175, 1, 2}},
        {kAbout, {1}},
        {kSyntaxTest, {1168, 1169, 1458, 1459, 1460, 1461, 1, 2}},
        {kDescription, {2141, 2158, 2159, 2160, 2161, 2162, 2164, 1, 2}},
        {kVariable, {2159, 2158, 1, 2}},
    };
    return lists;
}

const std::vector<std::uint32_t>& ComponentDialogLabels() {
    static const std::vector<std::uint32_t> ids = {2000, 2001, 2004, 2005, 1, 2, 1002};
    return ids;
}

const std::vector<std::uint32_t>& DialogLabelIds(std::uint32_t dialogId) {
    for (const DialogLabels& d : DialogLabelLists())
        if (d.dialogId == dialogId)
            return d.ids;
    return ComponentDialogLabels();
}

}  // namespace quelvari

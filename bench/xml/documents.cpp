#include "bench/xml/documents.h"

std::string MakeDeviceParameters(std::size_t uBytes)
{
    static const char* const aszPlaces[] = {"Main entrance",
                                            "B\xC3\xA2timent 4, 2e \xC3\xA9tage",
                                            "Parkplatz S\xC3\xBC"
                                            "d",
                                            "\xE6\xAD\xA3\xE9\x97\xA8",
                                            "Stairs &amp; lift",
                                            "Depot &lt;old&gt;"};
    std::string strXML = "<?xml version='1.0' encoding='UTF-8'?>"
                         "<zor:DeviceParameters xmlns:zor=\"http://recorder.example/zor\">";
    for (int i = 1; strXML.size() + 30 < uBytes; ++i)
    {
        const std::string strNumber = std::to_string(i);
        const std::string strPlace = aszPlaces[i % 6];
        strXML +=
            "<zor:CaptureDeviceConfig zor:DeviceId=\"" + strNumber + "\" zor:Name=\"" + strPlace +
            " " + strNumber + "\"><zor:VideoInput zor:Enable=\"" + (i % 3 != 0 ? "True" : "False") +
            "\" zor:FrameRate=\"25\" zor:Height=\"1080\" zor:Standard=\"PAL\" "
            "zor:Width=\"1920\"/><zor:Location>" +
            strPlace + "</zor:Location><zor:FileSizeSplitThreshold>" + std::to_string(i * 65536) +
            "</zor:FileSizeSplitThreshold><zor:RecordIfMotionDetected>True"
            "</zor:RecordIfMotionDetected><zor:RootDirectory>/media/storage/device" +
            strNumber + "</zor:RootDirectory><zor:Description>Records the view of " + strPlace +
            " when the alarm &quot;" + strNumber +
            "&quot; is raised, and five minutes before and after it.</zor:Description>"
            "</zor:CaptureDeviceConfig>";
    }
    return strXML + "</zor:DeviceParameters>";
}

import QtQuick
import QtQuick.Controls
import Velmora.Ads

ApplicationWindow {
    width: 360
    height: 640
    visible: true
    title: qsTr("Velmora articles")

    ListView {
        anchors { top: parent.top; left: parent.left; right: parent.right; bottom: bottomBanner.top }
        clip: true
        model: 40
        delegate: Column {
            id: entry
            required property int index
            readonly property bool isBanner: index === 5
            width: ListView.view.width
            padding: isBanner ? 0 : 12
            spacing: 4

            Label { visible: !entry.isBanner; text: qsTr("Article %1").arg(entry.index + 1); font.bold: true }
            Label { visible: !entry.isBanner; text: qsTr("How to dodge the storm, part %1.").arg(entry.index + 1) }
            Loader {
                active: entry.isBanner
                width: entry.width
                sourceComponent: BannerAd {
                    adUnitId: "a1f3c29b07d5e64"
                    keywords: ["arcade", "tips"]
                    onAdFailed: (code, message) => console.warn(message)
                    Component.onCompleted: load()
                }
            }
        }
    }

    BannerAd {
        id: bottomBanner
        anchors { bottom: parent.bottom; horizontalCenter: parent.horizontalCenter }
        width: parent.width
        adUnitId: "a1f3c29b07d5e64"
        onAdReceived: console.log("adReceived", implicitWidth + "x" + implicitHeight)
        onAdFailed: (code, message) => console.warn(message)
        Component.onCompleted: load()
    }
}

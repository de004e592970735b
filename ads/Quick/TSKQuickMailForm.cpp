#include "Quick/TSKQuickMailForm.h"

#include "Application.h"
#include "ViewController/TSKScreenLifecycle.h"

using namespace Velmora::Platform;

namespace {

const char *const kChromeSource = R"(
import QtQuick
Rectangle {
    id: form
    required property QtObject screen
    property alias to: to.text
    property alias cc: cc.text
    property alias bcc: bcc.text
    property alias subject: subject.text
    property alias body: body.text
    color: "#f4f4f7"
    component Action: Text {
        signal tapped
        color: "#0a64d8"
        font.pixelSize: 15
        padding: 6
        MouseArea { anchors.fill: parent; onClicked: parent.tapped() }
    }
    component Field: Item {
        id: field
        property Item next
        property alias label: label.text
        property alias text: input.text
        property alias input: input
        width: parent.width; height: 30
        Text { id: label; width: 58; anchors.verticalCenter: parent.verticalCenter; color: "#555555"; font.pixelSize: 13 }
        Rectangle {
            anchors { left: label.right; right: parent.right; top: parent.top; bottom: parent.bottom; margins: 2 }
            color: "white"; border.color: "#d0d0d8"; radius: 3
            TextInput {
                id: input
                objectName: field.objectName + "Input"
                anchors { fill: parent; leftMargin: 6; rightMargin: 6 }
                verticalAlignment: TextInput.AlignVCenter
                clip: true; color: "black"; font.pixelSize: 13
                KeyNavigation.tab: field.next
            }
        }
    }
    Column {
        anchors { fill: parent; margins: 8 }
        spacing: 4
        Item {
            width: parent.width; height: 34
            Action { objectName: "cancel"; text: "Cancel"; anchors.left: parent.left; onTapped: form.screen.cancel() }
            Text { anchors.centerIn: parent; text: "New Message"; color: "#555555"; font.pixelSize: 15 }
            Action { objectName: "send"; text: "Send"; font.bold: true; anchors.right: parent.right; onTapped: form.screen.send() }
        }
        Field { id: to; objectName: "to"; label: "To:"; next: cc.input; Component.onCompleted: input.forceActiveFocus() }
        Field { id: cc; objectName: "cc"; label: "Cc:"; next: bcc.input }
        Field { id: bcc; objectName: "bcc"; label: "Bcc:"; next: subject.input }
        Field { id: subject; objectName: "subject"; label: "Subject:"; next: body }
        Rectangle {
            width: parent.width; height: parent.height - y
            color: "white"; border.color: "#d0d0d8"; radius: 3
            TextEdit {
                id: body
                objectName: "body"
                anchors { fill: parent; margins: 6 }
                wrapMode: TextEdit.Wrap; color: "black"; font.pixelSize: 13
                KeyNavigation.tab: to.input
            }
        }
    }
}
)";

QString joined(const QStringList &addresses)
{
    return addresses.join(QStringLiteral(", "));
}

}  // namespace

TSKQuickMailForm::TSKQuickMailForm(QQmlEngine *engine, const MailMessage &message) : TSKQuickScreen(engine, nullptr)
{
    setObjectName(QStringLiteral("mailForm"));
    chrome_ = makeChrome(QUrl(QStringLiteral("qrc:/velmora/MailForm.qml")), kChromeSource,
                         {{QStringLiteral("to"), joined(message.to)},
                          {QStringLiteral("cc"), joined(message.cc)},
                          {QStringLiteral("bcc"), joined(message.bcc)},
                          {QStringLiteral("subject"), message.subject},
                          {QStringLiteral("body"), message.body}});
}

MailMessage TSKQuickMailForm::message() const
{
    const auto text = [this](const char *field) { return chrome_->property(field).toString(); };
    return {MailMessage::addressesInText(text("to")), MailMessage::addressesInText(text("cc")),
            MailMessage::addressesInText(text("bcc")), text("subject"), text("body")};
}

// Whether a mail program took it or not, the form has done its part.
void TSKQuickMailForm::send()
{
    Application::shared()->openURL(message().mailtoURL());
    relinquishScreen();
}

void TSKQuickMailForm::cancel()
{
    relinquishScreen();
}

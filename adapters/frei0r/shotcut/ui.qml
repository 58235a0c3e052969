// What Shotcut shows of both effects: numbers as degrees and percents, with keyframes; choices.
import QtQuick 2.12
import QtQuick.Controls 2.12
import QtQuick.Layouts 1.12
import Shotcut.Controls 1.0 as Shotcut

Shotcut.KeyframableFilter {
    id: effect

    // A value is `shown` / `scale` + `origin`.
    readonly property var numbers: [
        {title: "Amount", name: "Amount", normal: 1, scale: 100, origin: 0, low: 0, high: 100, unit: " %"},
        {title: "Angle", name: "Angle", normal: 0.5, scale: 3600, origin: 0.5, low: -1800, high: 1800, unit: " °"},
        {title: "Centre X", name: "CentreX", normal: 0.5, scale: 100, origin: 0, low: 0, high: 100, unit: " %"},
        {title: "Centre Y", name: "CentreY", normal: 0.5, scale: 100, origin: 0, low: 0, high: 100, unit: " %"},
        {title: "Radius", name: "Radius", normal: 0.25, scale: 400, origin: 0, low: 0, high: 400, unit: " %"},
        {title: "Inner radius", name: "InnerRadius", normal: 0, scale: 100, origin: 0, low: 0, high: 99.9, unit: " %"}
    ]
    readonly property var choices: [
        {title: "Direction", name: "Direction", options: ["Automatic", "Clockwise", "Counterclockwise"]},
        {title: "Ground", name: "GroundBottom", options: ["Top", "Bottom"]},
        {title: "Shape", name: "Circle", options: ["Ellipse", "Circle"]},
        {title: "Sampling", name: "Sampling", options: ["Bilinear", "Nearest", "Area"]}
    ]

    function setControls() {
        var position = getPosition();
        blockUpdate = true;
        for (var i = 0; i < numbers.length; ++i) {
            var row = numberRows.itemAt(i);
            row.slider.value = (filter.getDouble(numbers[i].name, position) - numbers[i].origin) * numbers[i].scale;
            row.button.checked = filter.animateIn <= 0 && filter.animateOut <= 0 && filter.keyframeCount(numbers[i].name) > 0;
            row.enabled = isSimpleKeyframesActive();
        }
        for (var j = 0; j < choices.length; ++j)
            choiceRows.itemAt(j).box.currentIndex = Math.round(filter.getDouble(choices[j].name) * (choices[j].options.length - 1));
        blockUpdate = false;
    }

    keyframableParameters: ["Amount", "Angle", "CentreX", "CentreY", "Radius", "InnerRadius"]
    startValues: [0, 0.5, 0.5, 0.5, 0.25, 0]
    middleValues: [1, 0.5, 0.5, 0.5, 0.25, 0]
    endValues: [0, 0.5, 0.5, 0.5, 0.25, 0]
    width: 450
    height: 400
    Component.onCompleted: {
        // Bands of a frame would be bent each by itself.
        filter.set("threads", 1);
        if (filter.isNew) {
            for (var i in numbers)
                filter.set(numbers[i].name, numbers[i].normal);
            for (var j in choices)
                filter.set(choices[j].name, 0);
        }
        setControls();
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 8

        Repeater {
            id: choiceRows

            model: choices
            RowLayout {
                property alias box: box

                Label {
                    text: modelData.title
                    Layout.preferredWidth: 100
                }
                Shotcut.ComboBox {
                    id: box

                    model: modelData.options
                    onActivated: filter.set(modelData.name, currentIndex / (modelData.options.length - 1))
                }
            }
        }

        Repeater {
            id: numberRows

            model: numbers
            RowLayout {
                property alias slider: slider
                property alias button: button

                // Not a property, which would still have the value before this one when told of it.
                function parameterValue() { return slider.value / modelData.scale + modelData.origin; }

                Label {
                    text: modelData.title
                    Layout.preferredWidth: 100
                }
                Shotcut.SliderSpinner {
                    id: slider

                    minimumValue: modelData.low
                    maximumValue: modelData.high
                    decimals: 1
                    suffix: modelData.unit
                    onValueChanged: effect.updateFilter(modelData.name, parameterValue(), button, effect.getPosition())
                }
                Shotcut.UndoButton {
                    onClicked: slider.value = (modelData.normal - modelData.origin) * modelData.scale
                }
                Shotcut.KeyframesButton {
                    id: button

                    onToggled: effect.toggleKeyframes(checked, modelData.name, parameterValue())
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }
    }

    Connections {
        target: filter
        function onChanged() { effect.setControls(); }
        function onInChanged() { effect.setControls(); }
        function onOutChanged() { effect.setControls(); }
        function onAnimateInChanged() { effect.setControls(); }
        function onAnimateOutChanged() { effect.setControls(); }
    }
    Connections {
        target: producer
        function onPositionChanged() { if (filter.animateIn > 0 || filter.animateOut > 0 || filter.keyframeCount("Angle") > 0) effect.setControls(); }
    }
}

// Making elements. Texts become text, whatever is in them.
"use strict";

const svgNamespace = "http://www.w3.org/2000/svg";

function fill(made, attributes, children) {
    for (const [name, value] of Object.entries(attributes))
        made.setAttribute(name, value);
    made.append(...children);
    return made;
}

// `children` are elements and texts, as in `element("p", {class: "faint"}, "Nothing yet")`.
function element(tag, attributes = {}, ...children) {
    return fill(document.createElement(tag), attributes, children);
}

function svgElement(tag, attributes = {}, ...children) {
    return fill(document.createElementNS(svgNamespace, tag), attributes, children);
}

function byId(id) {
    return document.getElementById(id);
}

// Has `act` called for a click and for the keys that press a button, for what is none.
function onPress(target, act) {
    target.addEventListener("click", act);
    target.addEventListener("keydown", event => {
        if (event.key !== "Enter" && event.key !== " ")
            return;
        event.preventDefault();
        act(event);
    });
}

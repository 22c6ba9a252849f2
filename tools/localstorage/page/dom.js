// Elements of the page.

export const byId = (id) => document.getElementById(id);

/** A new element; what is given with it becomes its properties, and texts and elements its content. */
export function make(name, properties = {}, ...content) {
    const element = Object.assign(document.createElement(name), properties);
    element.append(...content);
    return element;
}

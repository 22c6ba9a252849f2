// The keyboard.

/** Whether the element takes the key itself. */
const takes = (element, key) =>
    element.matches('select') || (element.matches('button, a, input') && (key === ' ' || key === 'Enter'));

/** What keys do, by name: everywhere, and on a camera's bar, where they are told which. */
export function listenToKeys(everywhere, onBar) {
    addEventListener('keydown', (event) => {
        if (document.querySelector('dialog[open]')) return;
        if (event.ctrlKey || event.altKey || event.metaKey || takes(event.target, event.key)) return;
        const shifted = event.shiftKey && event.key.length > 1;
        const name = (shifted ? 'Shift+' : '') + event.key;
        const { camera } = event.target.dataset;
        const act = (camera !== undefined && onBar[name]) || everywhere[name];
        if (!act) return;
        event.preventDefault();
        act(camera);
    });
}

// Answers what is wrong with the page in view, one sentence each. The limits are those of WCAG 2.2, level AA.
// `part` is "all", or "colours" or "space" alone, which are all that another screen changes.
const part = arguments[0];
const wrong = [];
const all = css => [...document.querySelectorAll(css)];
const shown = element => element.checkVisibility({visibilityProperty: true});
const told = element => {
  const text = element.outerHTML;
  return text.length > 140 ? text.slice(0, 140) + "…" : text;
};
const fault = (sentence, element) => wrong.push(element ? `${sentence}: ${told(element)}` : sentence);
const byId = list => list.split(/\s+/).map(id => document.getElementById(id)?.textContent ?? "").join(" ");
const nameOf = element => (element.getAttribute("aria-label") ||
  byId(element.getAttribute("aria-labelledby") ?? "") || element.textContent ||
  element.querySelector("img[alt]")?.alt || element.title || "").trim();

for (const animation of document.getAnimations()) animation.finish();

const checkStructure = () => {
  if (!document.documentElement.lang) fault("no language");
  if (!document.title.trim()) fault("no title");
  if (all("h1").length !== 1) fault(`${all("h1").length} h1`);
  if (all("main").length !== 1) fault(`${all("main").length} main`);
  for (const section of all("body > *")) {
    const known = section.matches("main, header, footer, nav, aside, a.skip, [role=status], dialog");
    if (!known && shown(section)) fault("outside every landmark", section);
  }
  const navigations = all("nav");
  for (const nav of navigations) if (!nameOf(nav) || !nav.hasAttribute("aria-label") && navigations.length > 1)
    fault("navigation without a name", nav);
  const ids = all("[id]").map(element => element.id);
  for (const id of new Set(ids.filter((id, i) => ids.indexOf(id) !== i))) fault(`more than one #${id}`);
  let level = 0;
  for (const heading of all("h1, h2, h3, h4, h5, h6").filter(shown)) {
    const own = Number(heading.tagName[1]);
    if (own > level + 1) fault("a level of headings is left out", heading);
    level = own;
  }
  for (const attribute of ["for", "aria-labelledby", "aria-describedby", "aria-controls"])
    for (const element of all(`[${attribute}]`))
      for (const id of element.getAttribute(attribute).split(/\s+/))
        if (!document.getElementById(id)) fault(`${attribute} points to nothing`, element);

  // Where one is, and what belongs to a field
  for (const list of all("nav[aria-label=Site]")) {
    const here = [...list.querySelectorAll("a")].filter(link => location.pathname.startsWith(new URL(link.href).pathname));
    if (here.length && !here.some(link => link.getAttribute("aria-current") === "page"))
      fault("navigation that does not say where one is", list);
  }
  const described = new Set(all("[aria-describedby]").flatMap(e => e.getAttribute("aria-describedby").split(/\s+/)));
  for (const text of all("p.help[id], p.error[id]")) if (!described.has(text.id)) fault("describes no field", text);

  // Names
  for (const field of all("input:not([type=hidden]), select, textarea")) {
    if (["submit", "button", "reset"].includes(field.type)) continue;
    const label = [...field.labels].some(l => l.textContent.trim()) || field.getAttribute("aria-label")?.trim() ||
      byId(field.getAttribute("aria-labelledby") ?? "").trim();
    if (!label) fault("a field without a label", field);
  }
  for (const element of all("button, a[href], summary")) if (!nameOf(element)) fault("nothing to call it by", element);
  for (const picture of all("img")) if (!picture.hasAttribute("alt")) fault("a picture without alt", picture);
  for (const picture of all("svg")) {
    const silent = picture.closest("[aria-hidden=true]");
    const named = picture.getAttribute("role") === "img" &&
      (picture.getAttribute("aria-label") || picture.querySelector(":scope > title") ||
       byId(picture.getAttribute("aria-labelledby") ?? "").trim());
    if (!silent && !named) fault("a picture that is neither named nor hidden from readers", picture);
  }
  for (const table of all("table")) {
    if (!table.querySelector("th")) fault("a table without headers", table);
    for (const header of table.querySelectorAll("th"))
      if (!header.scope && !header.closest("thead")) fault("a header of neither row nor column", header);
    if (!table.caption && !table.getAttribute("aria-label") && !table.getAttribute("aria-labelledby"))
      fault("a table without a name", table);
  }
};

const checkColours = () => {
  const pixel = new OffscreenCanvas(1, 1).getContext("2d", {willReadFrequently: true});
  const known = new Map();
  const colour = text => {
    if (!known.has(text)) {
      pixel.clearRect(0, 0, 1, 1);
      pixel.fillStyle = text;
      pixel.fillRect(0, 0, 1, 1);
      const [red, green, blue, alpha] = pixel.getImageData(0, 0, 1, 1).data;
      known.set(text, [red, green, blue, alpha / 255]);
    }
    return known.get(text);
  };
  const over = (top, below) => {
    const alpha = top[3];
    return [0, 1, 2].map(i => top[i] * alpha + below[i] * (1 - alpha)).concat(1);
  };
  const canvasColour = () => matchMedia("(prefers-color-scheme: dark)").matches &&
    getComputedStyle(document.documentElement).colorScheme.includes("dark") ? [18, 18, 18, 1] : [255, 255, 255, 1];
  const ground = element => {
    if (!element) return canvasColour();
    const own = colour(getComputedStyle(element).backgroundColor);
    return own[3] === 1 ? own : over(own, ground(element.parentElement));
  };
  // A text within a drawing stands on the last shape before it that covers its middle.
  const groundInDrawing = text => {
    const box = text.getBoundingClientRect(), x = box.x + box.width / 2, y = box.y + box.height / 2;
    let below = ground(text.closest("svg").parentElement);
    for (const shape of text.closest("svg").querySelectorAll("rect, circle, path, polygon, ellipse")) {
      if (!(shape.compareDocumentPosition(text) & Node.DOCUMENT_POSITION_FOLLOWING)) break;
      const area = shape.getBoundingClientRect(), fill = getComputedStyle(shape).fill;
      if (fill !== "none" && area.left <= x && x <= area.right && area.top <= y && y <= area.bottom)
        below = over(colour(fill), below);
    }
    return below;
  };
  const luminance = ([red, green, blue]) => [red, green, blue].map(value => {
    const part = value / 255;
    return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
  }).reduce((sum, part, i) => sum + part * [0.2126, 0.7152, 0.0722][i], 0);
  const contrast = (a, b) => {
    const [dark, light] = [luminance(a), luminance(b)].sort((x, y) => x - y);
    return (light + 0.05) / (dark + 0.05);
  };
  const opacity = element => element ? Number(getComputedStyle(element).opacity) * opacity(element.parentElement) : 1;
  const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  const holders = new Set(all("input:not([type=hidden]), select, textarea"));
  while (texts.nextNode()) if (texts.currentNode.data.trim()) holders.add(texts.currentNode.parentElement);
  for (const element of holders) {
    const off = element.closest(":disabled, option, script, style, title, .skip:not(:focus)");
    if (!shown(element) || off) continue;
    const style = getComputedStyle(element), drawn = element instanceof SVGElement;
    const below = drawn ? groundInDrawing(element) : ground(element);
    const ink = [...colour(drawn ? style.fill : style.color)];
    ink[3] *= opacity(element);
    const size = parseFloat(style.fontSize), large = size >= 24 || size >= 18.66 && Number(style.fontWeight) >= 700;
    const found = contrast(over(ink, below), below);
    if (found < (large ? 3 : 4.5)) fault(`contrast ${found.toFixed(2)}`, element);
  }
};

const checkKeyboard = () => {
  const focused = document.activeElement;
  for (const element of all("a[href], button, input:not([type=hidden]), select, textarea, summary")) {
    if (!shown(element) || element.disabled) continue;
    if (element.tabIndex !== 0) fault("out of the keyboard's order", element);
    element.focus({focusVisible: true, preventScroll: true});
    const style = getComputedStyle(element);
    if (style.outlineStyle === "none" && style.boxShadow === "none") fault("no focus ring", element);
  }
  focused?.focus?.({preventScroll: true});
  if (document.activeElement !== focused) document.activeElement.blur();
};

const checkSpace = () => {
  const root = document.documentElement;
  if (root.scrollWidth > root.clientWidth) {
    const wide = all("body *").filter(element => element.getBoundingClientRect().right > root.clientWidth + 1);
    fault(`${root.scrollWidth - root.clientWidth} points too wide at ${root.clientWidth}`, wide.at(-1));
  }
};

if (part === "all") {
  checkStructure();
  checkKeyboard();
}
if (part !== "space") checkColours();
if (part !== "colours") checkSpace();
return wrong;

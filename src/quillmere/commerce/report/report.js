"use strict";
(() => {
  const details = document.querySelector(".filters");
  if (!details) return;  // too few matches to filter
  const form = details.querySelector("form");
  const list = document.querySelector(".cards");
  const status = document.querySelector(".status");
  const nothing = document.querySelector(".nothing");
  const facets = ["type", "category", "stock", "condition", "currency"];
  const collator = new Intl.Collator();

  const cards = Array.from(list.children, (element, rank) => ({
    element,
    rank,
    facts: element.dataset,
    amount: element.dataset.amount === undefined ? null : Number(element.dataset.amount),
    score: Number(element.dataset.score),
  }));
  const currencyCount = new Map();
  for (const { facts } of cards) {
    if (facts.currency !== undefined) currencyCount.set(facts.currency, (currencyCount.get(facts.currency) || 0) + 1);
  }
  const onlyCurrency = currencyCount.size === 1 ? currencyCount.keys().next().value : null;

  const textOf = (card) => (card.text ??= card.element.textContent.toLowerCase());
  const partOf = (card, selector) => (card[selector] ??= card.element.querySelector(selector)?.textContent ?? "");
  const byText = (selector) => (a, b) => collator.compare(partOf(a, selector), partOf(b, selector)) || a.rank - b.rank;
  // Amounts of different currencies do not compare: the commonest currency comes first, whole; cards without a price last.
  const byPrice = (sign) => (a, b) => {
    if (a.amount === null || b.amount === null) return (a.amount === null) - (b.amount === null) || a.rank - b.rank;
    if (a.facts.currency !== b.facts.currency) {
      const difference = currencyCount.get(b.facts.currency) - currencyCount.get(a.facts.currency);
      return difference || (a.facts.currency < b.facts.currency ? -1 : 1);
    }
    return sign * (a.amount - b.amount) || a.rank - b.rank;
  };
  const orders = {
    rank: (a, b) => a.rank - b.rank,
    cheap: byPrice(1),
    dear: byPrice(-1),
    score: (a, b) => b.score - a.score || a.rank - b.rank,
    merchant: byText(".seller bdi"),
    title: byText("h3"),
  };

  const boxes = (facet) => Array.from(form.querySelectorAll("input[type=checkbox]")).filter((box) => box.name === facet);
  const field = (name) => form.elements.namedItem(name);

  const hint = form.querySelector(".hint");
  const hintAtFirst = Array.from(hint.childNodes);

  // The form's state as the fragment's text, and back.
  function stateText() {
    const state = new URLSearchParams();
    for (const name of ["q", "min", "max"]) if (field(name).value) state.set(name, field(name).value);
    for (const facet of facets) for (const box of boxes(facet)) if (box.checked) state.append(facet, box.value);
    if (field("sort").value !== "rank") state.set("sort", field("sort").value);
    return state.toString();
  }

  function restore(text) {
    const state = new URLSearchParams(text);
    for (const name of ["q", "min", "max"]) field(name).value = state.get(name) ?? "";
    for (const facet of facets) for (const box of boxes(facet)) box.checked = state.getAll(facet).includes(box.value);
    field("sort").value = Object.hasOwn(orders, state.get("sort") ?? "") ? state.get("sort") : "rank";
  }

  function wanted() {
    const chosen = Object.fromEntries(facets.map((facet) =>
      [facet, new Set(boxes(facet).filter((box) => box.checked).map((box) => box.value))]));
    const [box, ...more] = boxes("currency").filter((box) => box.checked);
    const isOne = box !== undefined && more.length === 0 && box.value !== "none";
    const currency = isOne ? box.value : onlyCurrency;
    for (const name of ["min", "max"]) field(name).disabled = currency === null;
    hint.replaceChildren(...(isOne ? ["In ", box.nextElementSibling.cloneNode(true)] : hintAtFirst));
    const bound = (name) => (currency === null || field(name).value === "" ? null : Number(field(name).value));
    const [min, max] = [bound("min"), bound("max")];
    const words = field("q").value.toLowerCase().split(/\s+/).filter(Boolean);
    return (card) => {
      for (const facet of facets) {
        if (chosen[facet].size > 0 && !chosen[facet].has(card.facts[facet] ?? "none")) return false;
      }
      if (min !== null || max !== null) {
        if (card.amount === null || card.facts.currency !== currency) return false;
        if ((min !== null && card.amount < min) || (max !== null && card.amount > max)) return false;
      }
      return words.every((word) => textOf(card).includes(word));
    };
  }

  let listed = cards;
  function apply() {
    // Taken out rather than hidden: hiding makes a browser lay out what it has not shown yet.
    const shown = cards.filter(wanted()).sort(orders[field("sort").value]);
    if (shown.length !== listed.length || shown.some((card, i) => card !== listed[i])) {
      list.replaceChildren(...shown.map((card) => card.element));
      listed = shown;
    }
    status.textContent = shown.length === cards.length ? `All ${cards.length} shown` : `${shown.length} of ${cards.length} shown`;
    nothing.hidden = shown.length > 0;
  }

  function changed() {
    const text = stateText();
    history.replaceState(null, "", text ? "#" + text : location.pathname + location.search);
    apply();
  }

  function clear() {
    restore("");
    changed();
  }

  form.addEventListener("input", changed);
  form.addEventListener("submit", (event) => event.preventDefault());
  for (const button of document.querySelectorAll("button.clear")) button.addEventListener("click", clear);
  addEventListener("hashchange", () => {
    if (!location.hash.includes("=") && location.hash !== "") return;  // a place on the page, not a state
    restore(location.hash.slice(1));
    apply();
  });

  details.hidden = status.hidden = false;
  details.parentElement.classList.add("filterable");
  details.open = matchMedia("(min-width: 1000px)").matches;
  matchMedia("(min-width: 1000px)").addEventListener("change", (wide) => { if (wide.matches) details.open = true; });
  if (location.hash.includes("=")) restore(location.hash.slice(1));
  apply();
  (window.requestIdleCallback ?? setTimeout)(() => cards.forEach(textOf));  // so that the first search need not wait
})();

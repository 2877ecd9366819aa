"""Product facts by Python: `python_peers.py lxml|extruct DIR`.

For each line on standard input: one pass over the pages of the directory, and its processor seconds and counts.
"""

import json
import pathlib
import re
import sys
import time

FACTS = ["title", "brand", "price", "currency", "availability", "image", "sku"]
META = {
    "og:title": "title", "og:image": "image", "og:brand": "brand", "product:brand": "brand",
    "product:price:amount": "price", "og:price:amount": "price", "product:price:currency": "currency",
    "og:price:currency": "currency", "product:availability": "availability", "og:availability": "availability",
}
ITEMPROP = {"price": "price", "priceCurrency": "currency", "sku": "sku", "availability": "availability"}
PRICE = re.compile(r"[$€£]\s?(\d+(?:[.,]\d+)*)")


def objects_in(value):
    if isinstance(value, list):
        for element in value:
            yield from objects_in(element)
    elif isinstance(value, dict):
        yield value
        for member in value.values():
            yield from objects_in(member)


def first(value):
    return (value[0] if value else None) if isinstance(value, list) else value


def take_products(value, facts):
    for product in objects_in(value):
        kind = product.get("@type")
        if not {"Product", "ProductGroup"} & set(kind if isinstance(kind, list) else [kind]):
            continue
        offer = first(product.get("offers")) or {}
        brand = product.get("brand")
        offer = offer if isinstance(offer, dict) else {}
        for fact, found in {
            "title": product.get("name"),
            "brand": brand.get("name") if isinstance(brand, dict) else brand,
            "sku": product.get("sku") or product.get("gtin13") or product.get("mpn"),
            "image": first(product.get("image")),
            "price": offer.get("price") or offer.get("lowPrice"),
            "currency": offer.get("priceCurrency"),
            "availability": offer.get("availability"),
        }.items():
            if found:
                facts.setdefault(fact, found)


def analyse_with_lxml(page):
    import lxml.html

    facts = {}
    root = lxml.html.document_fromstring(page)
    for script in root.xpath('//script[@type="application/ld+json"]'):
        try:
            take_products(json.loads(script.text or ""), facts)
        except ValueError:
            continue
    for meta in root.iter("meta"):
        fact = META.get(meta.get("property") or meta.get("name"))
        if fact and meta.get("content"):
            facts.setdefault(fact, meta.get("content"))
    for element in root.xpath("//*[@itemprop]"):
        fact = ITEMPROP.get(element.get("itemprop"))
        found = element.get("content") or element.get("href")
        if fact and found:
            facts.setdefault(fact, found)
    for element in root.xpath('//*[contains(@class, "sku")]'):
        facts.setdefault("sku", (element.text or "").strip())
    if "availability" not in facts and root.xpath('//*[contains(@class, "instock")]'):
        facts["availability"] = "instock"
    title = root.find(".//title")
    if title is not None:
        facts.setdefault("title", title.text)
    return facts


def analyse_with_extruct(page):
    import extruct

    facts = {}
    try:
        data = extruct.extract(page.decode("utf-8", "replace"), syntaxes=["json-ld", "microdata", "opengraph"],
                               uniform=True)
    except Exception:  # it raises on some pages
        return facts
    take_products(data["json-ld"] + data["microdata"], facts)
    for graph in data["opengraph"]:
        for key, found in graph.items():
            if key in META and found:
                facts.setdefault(META[key], found)
    if "price" not in facts:
        printed = PRICE.search(page.decode("utf-8", "replace"))
        if printed:
            facts["price"] = printed[1]
    return facts


def main():
    analyse = {"lxml": analyse_with_lxml, "extruct": analyse_with_extruct}[sys.argv[1]]
    pages = [path.read_bytes() for path in sorted(pathlib.Path(sys.argv[2]).glob("*.html"))]
    for _ in sys.stdin:
        start = time.process_time()
        found = [analyse(page) for page in pages]
        seconds = time.process_time() - start
        print(seconds, "/".join(str(sum(1 for facts in found if facts.get(fact))) for fact in FACTS), flush=True)


main()

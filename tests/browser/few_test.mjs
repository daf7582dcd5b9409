// Before there is an encoder, with the first decoder there.
import { isAccessible, openPanel, panelTest, setUp, untilShown } from "./bed.mjs";

setUp();

panelTest("with one device alone the pages show it, and say what is missing", async () => {
    for (const dark of [false, true]) {
        for (const [hash, text] of [["/grid", "No encoders yet"], ["/devices", "1 device"]]) {
            const page = await openPanel(hash, { dark });
            await untilShown(page, text);
            await isAccessible(page);
        }
    }
});

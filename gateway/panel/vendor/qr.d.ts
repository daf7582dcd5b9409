export function generate(text: string): {
    readonly size: number;
    get(x: number, y: number): boolean;
};
